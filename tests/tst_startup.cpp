// The program as a user starts it: its command line, and what it opens to
// other programs at start. Without --debug nothing listens on the
// inspector's port, whatever the environment hands down; with it, the
// inspector answers and its window shows.

#include "recordingbrowser.h"
#include "testutil.h"
#include "waituntil.h"

#include <QDirIterator>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString program = QStringLiteral(VELOMAR_PROGRAM);

// The web engine's helper processes of `pid`: running once the engine is up.
int webEngineChildren(qint64 pid)
{
    int count = 0;
    QDirIterator it("/proc", QDir::Dirs | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        const QString stat = trackgen::readText(it.next() + "/stat");
        // pid (comm) state ppid …
        const int close = stat.lastIndexOf(')');
        if (close < 0)
            continue;
        const QStringList rest = stat.mid(close + 2).split(' ');
        if (rest.size() > 1 && rest[1].toLongLong() == pid && stat.contains("(QtWebEngine"))
            ++count;
    }
    return count;
}

// The inspector's list of pages, or empty when nothing answers.
QByteArray inspectorPages(int ms)
{
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", 9024);
    if (!socket.waitForConnected(ms))
        return {};
    socket.write("GET /json HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    QByteArray reply;
    testwait::waitUntil(
        [&] {
            reply += socket.readAll();
            return reply.contains("]");
        },
        ms);
    return reply;
}

} // namespace

class StartupTest : public QObject
{
    Q_OBJECT

    QTemporaryDir home;
    RecordingBrowser browser;

    // Starts the player as a desktop does, with a debugging port handed down
    // in the environment as a hostile or careless parent might.
    void start(QProcess &player, const QStringList &args)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("HOME", home.path());
        env.remove("XDG_CONFIG_HOME");
        env.insert("VELOMAR_AUDIO_DRIVER", "null");
        env.insert("QTWEBENGINE_REMOTE_DEBUGGING", "9024");
        env.insert("QTWEBENGINE_CHROMIUM_FLAGS", "--remote-debugging-port=9024");
        player.setProcessEnvironment(env);
        player.setStandardInputFile(QProcess::nullDevice());
        player.start(program, args);
        QVERIFY(player.waitForStarted());
        // Up once it has handed the browser copy to the desktop and its
        // web engine runs.
        QVERIFY(!browser.next(60000).arguments.isEmpty());
        QVERIFY(
            testwait::waitUntil([&] { return webEngineChildren(player.processId()) > 0; }, 60000));
    }
    static void end(QProcess &player)
    {
        player.terminate();
        if (!player.waitForFinished(10000)) {
            player.kill();
            player.waitForFinished();
        }
    }

private slots:
    void initTestCase()
    {
        QVERIFY(home.isValid());
        QVERIFY(QDir(home.path()).mkpath("Pictures"));
        QVERIFY2(browser.install(home.path()),
                 "cannot register the browser, or xdg-open is missing");
    }

    // Help and the version need no display.
    void versionAndHelpWithoutDisplay()
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        env.remove("QT_QPA_PLATFORM");
        QProcess p;
        p.setProcessEnvironment(env);
        p.start(program, {"--version"});
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(p.exitCode(), 0);
        QCOMPARE(QString(p.readAllStandardOutput()).trimmed(), QString("velomar " VELOMAR_VERSION));
        p.start(program, {"--help"});
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(p.exitCode(), 0);
        const QString help = p.readAllStandardOutput();
        QVERIFY2(help.contains("--debug") && help.contains("[FILE|FOLDER...]"), qPrintable(help));
    }

    // An option it does not know (Chromium's own debugging flag among them)
    // ends the start with one line saying which.
    void unknownOptionsRefused()
    {
        const Run r = run(program, {"--remote-debugging-port=9024"}, 60000);
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("Unknown option 'remote-debugging-port'"), r.err.constData());
    }

    void noInspectorWithoutDebug()
    {
        QProcess player;
        start(player, {});
        // Long enough for the engine to have opened a port if it was asked to.
        QTest::qWait(3000);
        QCOMPARE(inspectorPages(2000), QByteArray());
        end(player);
        const QByteArray err = player.readAllStandardError();
        QVERIFY2(!err.contains("QML debugging is enabled"), err.constData());
        QVERIFY2(err.contains("QTWEBENGINE_REMOTE_DEBUGGING ignored"), err.constData());
    }

    void inspectorWithDebug()
    {
        QProcess player;
        start(player, {"--debug"});
        QByteArray pages;
        QVERIFY(testwait::waitUntil(
            [&] {
                pages = inspectorPages(2000);
                return pages.contains("Google-earth.html");
            },
            30000));
        QVERIFY2(pages.contains("webSocketDebuggerUrl"), pages.constData());
        const Run found = run("xdotool", {"search", "--name", "Velomar: map inspector"}, 10000);
        QCOMPARE(found.exitCode, 0);
        end(player);
        const QByteArray err = player.readAllStandardError();
        QVERIFY2(err.contains("QML debugging is enabled"), err.constData());
    }
};

QTEST_GUILESS_MAIN(StartupTest)
#include "tst_startup.moc"
