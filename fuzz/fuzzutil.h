#pragma once

// Shared by the fuzz targets: a quiet log and a scratch file per process.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QtGlobal>
#include <unistd.h>

inline void silenceQtLog()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
}

inline QString scratchPath(const char *name)
{
    return QDir::tempPath() + QStringLiteral("/velomar-fuzz-%1-%2").arg(getpid()).arg(name);
}

inline QString writeScratch(const char *name, const uint8_t *data, size_t size)
{
    const QString path = scratchPath(name);
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size));
    return path;
}
