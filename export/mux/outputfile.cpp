#include "outputfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace videoexport {

bool OutputFile::prepare(const QString &destination, bool replaceExisting, QString *error)
{
    const QFileInfo info(destination);
    target = info.absoluteFilePath();
    replace = replaceExisting;
    if (info.isDir()) {
        *error = QStringLiteral("%1 is a folder").arg(destination);
        return false;
    }
    if (info.exists() && !replace) {
        *error = QStringLiteral("%1 exists (--force replaces it)").arg(destination);
        return false;
    }
    const QFileInfo folder(info.absolutePath());
    if (!folder.isDir()) {
        *error = QStringLiteral("the folder %1 does not exist").arg(info.absolutePath());
        return false;
    }
    part = info.absolutePath() + QStringLiteral("/.") + info.fileName() + QStringLiteral(".part");
    // A real open tells what permission bits do not (read-only mounts, ACLs).
    QFile probe(part);
    if (!probe.open(QIODevice::WriteOnly)) {
        *error =
            QStringLiteral("cannot write in %1: %2").arg(info.absolutePath(), probe.errorString());
        part.clear();
        return false;
    }
    return true;
}

bool OutputFile::commit(QString *error)
{
    if (replace && QFileInfo::exists(target) && !QFile::remove(target)) {
        *error = QStringLiteral("cannot replace %1").arg(target);
        return false;
    }
    if (!QFile::rename(part, target)) {
        *error = QStringLiteral("cannot move the finished export to %1").arg(target);
        return false;
    }
    committed = true;
    return true;
}

OutputFile::~OutputFile()
{
    if (!committed && !part.isEmpty())
        QFile::remove(part);
}

} // namespace videoexport
