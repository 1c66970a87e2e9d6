// Resource paths, build information and the file log, each case in a fresh
// process with its own build.info and home folder.

#include "testutil.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

namespace {

struct Probe
{
    QString home;
    QString out;
};

// Copies the probe to <scratch>/app/bin, puts build.info (if given) beside
// <scratch>/app/res, and runs it with HOME=<scratch>/home.
Probe runProbe(const Scratch &s, const QString &mode, const QByteArray *buildInfo)
{
    QDir().mkpath(s.path("app/bin"));
    QDir().mkpath(s.path("app/res"));
    QDir().mkpath(s.path("home"));
    const QString exe = s.path("app/bin/configprobe");
    QFile::remove(exe);
    QFile::copy(VELOMAR_CONFIG_PROBE, exe);
    QFile::setPermissions(exe, QFile::permissions(exe) | QFileDevice::ExeUser);
    QFile::remove(s.path("app/build.info"));
    if (buildInfo)
        s.bytes("app/build.info", *buildInfo);
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", s.path("home"));
    env.remove("XDG_DOCUMENTS_DIR");
    env.remove("XDG_CONFIG_HOME");
    p.setProcessEnvironment(env);
    p.start(exe, {mode});
    p.waitForFinished(30000);
    return {s.path("home"), QString::fromUtf8(p.readAllStandardOutput())};
}

QString field(const QString &out, const QString &name)
{
    for (const QString &line : out.split('\n'))
        if (line.startsWith(name + '='))
            return line.mid(name.size() + 1);
    return QString("<none>");
}

} // namespace

class ConfigTest : public QObject
{
    Q_OBJECT

private slots:
    void pathsFollowTheExecutable()
    {
        Scratch s;
        const QByteArray info =
            "Velomar V1.0\nBuild Date: 2017/12/7 10:04(UTC)\nFrom revision: abc\n"
            "customer: acme\nName: Velomar Viewer\n";
        const Probe p = runProbe(s, "config", &info);
        QCOMPARE(field(p.out, "resDir"), s.path("app/bin") + "/../res");
        QCOMPARE(field(p.out, "version"), QString("2017/12/7 10:04(UTC)"));
        QCOMPARE(field(p.out, "customerDir"), p.home + "/Documents/velomar_acme");
        QCOMPARE(field(p.out, "exists"), QString("1"));
    }

    void quotedBuildDateLine()
    {
        Scratch s;
        const QByteArray info = "\"Velomar V1.0\"\n\n\"Build Date: 2017/12/7 10:04(UTC)\"\n";
        QCOMPARE(field(runProbe(s, "config", &info).out, "version"),
                 QString("2017/12/7 10:04(UTC)"));
    }

    void buildDateWithoutBlankDoesNotMatch()
    {
        Scratch s;
        const QByteArray info = "Build Date:2017/12/7 10:04(UTC)\n";
        QCOMPARE(field(runProbe(s, "config", &info).out, "version"), QString());
    }

    void customerWithoutBlankHasNoCode()
    {
        Scratch s;
        const QByteArray info = "customer:acme\n";
        const Probe p = runProbe(s, "config", &info);
        QCOMPARE(field(p.out, "customerDir"), p.home + "/Documents/velomar_");
    }

    void noBuildInfo()
    {
        Scratch s;
        const Probe p = runProbe(s, "config", nullptr);
        QCOMPARE(field(p.out, "version"), QString());
        QCOMPARE(field(p.out, "customerDir"), p.home + "/Documents/velomar_");
        QCOMPARE(field(p.out, "exists"), QString("1")); // created on first use
    }

    void buildInfoOfThisBuild()
    {
        QFile f(VELOMAR_BUILD_INFO);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(f.readAll()).split('\n', Qt::SkipEmptyParts);
        QVERIFY(lines.size() >= 5);
        QVERIFY(lines[0].startsWith("Velomar V"));
        QVERIFY(
            QRegularExpression("^Build Date: \\d{4}/[1-9]\\d?/[1-9]\\d? \\d\\d:\\d\\d\\(UTC\\)$")
                .match(lines[1])
                .hasMatch());
        QVERIFY(QRegularExpression("^From revision: ([0-9a-f]{40}|unknown)$")
                    .match(lines[2])
                    .hasMatch());
        QVERIFY(QRegularExpression("^customer: \\S+$").match(lines[3]).hasMatch());
        QCOMPARE(lines[4], QString("Name: Velomar Viewer"));
    }

    void fileLog()
    {
        Scratch s;
        const QByteArray info = "customer: acme\n";
        const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
        const Probe p = runProbe(s, "log", &info);
        const QDir logs(p.home + "/Documents/velomar_acme/logs");
        const QStringList files = logs.entryList(QDir::Files);
        QCOMPARE(files.size(), 1); // seconds apart, one file
        const QString name = files.first();
        QVERIFY(QRegularExpression("^log_\\d{8}_\\d{6}\\.txt$").match(name).hasMatch());
        const QDateTime named = QDateTime::fromString(name.mid(4, 15), "yyyyMMdd_hhmmss");
        QVERIFY(named >= before && named <= before.addSecs(3)); // the first message's time

        const QString text = trackgen::readText(logs.filePath(name));
        QVERIFY(text.endsWith("\r\n"));
        const QStringList lines = text.split("\r\n", Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 6);
        const QString stamp = "^\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\]";
        const QStringList expected{
            stamp + "\\[  Debug\\] first message From:probe.cpp at line:42$",
            stamp + "\\[   Debug\\] an info message From:probe.cpp at line:42$",
            stamp + "\\[Warning\\] a warning without context From: at line:0$",
            stamp + "\\[Critical\\] critical From:probe.cpp at line:42$",
            stamp + "\\[   Fatal\\] fatal, written like any other From:probe.cpp at line:42$",
            stamp + "\\[  Debug\\] a second later From:probe.cpp at line:42$"};
        for (int i = 0; i < lines.size(); ++i)
            QVERIFY2(QRegularExpression(expected[i]).match(lines[i]).hasMatch(),
                     qPrintable(lines[i]));
    }

    void fileLogRecreatesItsFolder()
    {
        Scratch s;
        const QByteArray info = "customer: acme\n";
        const Probe p = runProbe(s, "log-deleted", &info);
        const QDir logs(p.home + "/Documents/velomar_acme/logs");
        const QStringList files = logs.entryList(QDir::Files);
        QCOMPARE(files.size(), 1);
        const QString text = trackgen::readText(logs.filePath(files.first()));
        QVERIFY(!text.contains("before"));
        QVERIFY(text.contains("after the folder was deleted"));
    }
};

QTEST_GUILESS_MAIN(ConfigTest)
#include "tst_config.moc"
