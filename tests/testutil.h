#pragma once

// Small helpers shared by the track tests: a scratch folder and file writers.

#include "trackgen.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

class Scratch
{
public:
    Scratch() { QVERIFY2(dir.isValid(), "cannot make a temporary folder"); }
    QString path(const QString &name) const { return dir.filePath(name); }

    // Writes lines joined by "\n" (and a final "\n"), returns the path.
    QString lines(const QString &name, const QStringList &content) const
    {
        return bytes(name, content.isEmpty() ? QByteArray() : (content.join('\n') + '\n').toUtf8());
    }
    QString bytes(const QString &name, const QByteArray &content) const
    {
        QFile f(path(name));
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            qFatal("cannot write %s", qPrintable(path(name)));
        f.write(content);
        return path(name);
    }
    bool exists(const QString &name) const { return QFile::exists(path(name)); }

private:
    QTemporaryDir dir;
};

// A program run to its end (killed after `ms`), as a user runs it: no input.
struct Run
{
    int exitCode = -1; // -1: it crashed or did not finish
    QByteArray out;
    QByteArray err;
};
inline Run run(const QString &program, const QStringList &args, int ms = 120000)
{
    QProcess p;
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(program, args);
    Run r;
    if (!p.waitForFinished(ms) || p.exitStatus() != QProcess::NormalExit) {
        p.kill();
        p.waitForFinished();
        r.err = "did not finish: " + p.errorString().toUtf8();
        return r;
    }
    r.exitCode = p.exitCode();
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

// Two valid fixes, as converted lines: enough for a parse to succeed.
inline QStringList twoConvertedFixes()
{
    return {"B,061517,120000.000,22.5,N,113.9,E,30,-08.72,+01.41,+00.59;",
            "B,061517,120001.000,22.5001,N,113.9001,E,40,-08.72,+01.41,+00.59;"};
}
