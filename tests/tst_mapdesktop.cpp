// The map and the user's desktop, as the desktop really is: the browser copy
// handed over through the real xdg-open (with no desktop known, and as on
// GNOME, where it calls gio), to a browser registered as the default for web
// pages in the test's home folder, which records what it is given and with
// which environment; then opened in headless Chromium, which must be let in.
// And the window's own view: it stays on its pages, reads no files, and
// hands links to the desktop.

#include "chromium.h"
#include "mainwindow.h"
#include "maptest.h"
#include "mediatest.h"
#include "recordingbrowser.h"
#include "waituntil.h"
#include "windowfixture.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <algorithm>
#include <memory>

using Launch = RecordingBrowser::Launch;

class MapDesktopTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<MainWindow> window;
    QString home;

    RecordingBrowser browser;

    // Waits for the recording browser's next start.
    Launch nextLaunch() { return browser.next(); }

    QWebEngineView *view() { return window->findChild<QWebEngineView *>(); }
    QVariant js(const QString &script) { return maptest::runJs(view()->page(), script, 10000); }
    void waitForPageLoaded()
    {
        QVERIFY(testwait::waitUntil(
            [&] { return js("typeof velomarState === 'function'").toBool(); }, 30000));
    }

private slots:
    void initTestCase()
    {
        home = QDir::homePath();
        QVERIFY2(browser.install(home), "cannot register the browser, or xdg-open is missing");
    }

    void cleanup()
    {
        window.reset();
        qunsetenv("XDG_CURRENT_DESKTOP");
        browser.forget();
    }

    // On every desktop the browser gets a file that exists, and the page
    // in it reaches the player and is let in.
    void theBrowserCopyConnectsOnEveryDesktop_data()
    {
        QTest::addColumn<QString>("desktop");
        QTest::newRow("no desktop known") << QString();
        QTest::newRow("GNOME (gio open)") << "GNOME";
    }
    void theBrowserCopyConnectsOnEveryDesktop()
    {
        QFETCH(QString, desktop);
        if (desktop.isEmpty())
            qunsetenv("XDG_CURRENT_DESKTOP");
        else
            qputenv("XDG_CURRENT_DESKTOP", desktop.toUtf8());
        qunsetenv("DESKTOP_SESSION");

        window = std::make_unique<MainWindow>();
        window->show();
        const Launch launch = nextLaunch();
        QCOMPARE(launch.arguments.size(), 1);
        const QString given = launch.arguments.first();
        QVERIFY2(!given.contains('?'), qPrintable(given));
        const QString path = given.startsWith("file:") ? QUrl(given).toLocalFile() : given;
        QVERIFY2(QFileInfo(path).isFile(), qPrintable(given));

        // Nothing of the web engine's own settings reaches the browser.
        QVERIFY(!launch.environment.isEmpty());
        QCOMPARE(launch.environment.filter("QTWEBENGINE_"), QStringList());

        Chromium chromium;
        QString why;
        QVERIFY2(chromium.start(QUrl::fromLocalFile(path), &why), qPrintable(why));
        QJsonObject s;
        QVERIFY2(maptest::waitUntil(
                     [&] {
                         s = chromium.domState();
                         return s.value("connected").toBool() && s.value("helloCount").toInt() == 1;
                     },
                     60000),
                 QJsonDocument(s).toJson().constData());
        QVERIFY(!s.value("refused").toBool());
        QVERIFY(chromium.evaluate("location.href")
                    .toString()
                    .contains("/map/Google-earth.html?token="));
        QVERIFY2(chromium.errors.isEmpty(), qPrintable(chromium.errors.join('\n')));

        // Gone at exit.
        window.reset();
        QVERIFY(!QFileInfo::exists(path));
    }

    // The map credits are links: they open in the user's browser.
    void creditsOpenInTheBrowser()
    {
        window = std::make_unique<MainWindow>();
        window->show();
        nextLaunch(); // the browser copy
        waitForPageLoaded();
        const QString before = js("location.href").toString();
        js("document.querySelector('.leaflet-control-attribution a[href^=\"https:\"]').click()");
        const Launch launch = nextLaunch();
        QCOMPARE(launch.arguments.size(), 1);
        QVERIFY2(launch.arguments.first().startsWith("https://"),
                 qPrintable(launch.arguments.first()));
        QCOMPARE(js("location.href").toString(), before);
    }

    // A script in the page, which the inspector on port 9024 lets any local
    // program run, can neither take the view elsewhere nor read files.
    void theViewStaysOnItsPage()
    {
        window = std::make_unique<MainWindow>();
        window->show();
        waitForPageLoaded();
        const QString before = js("location.href").toString();
        js("window.stillHere = true; location.href = 'file:///etc/hostname'");
        testwait::runFor(1500);
        QCOMPARE(js("location.href").toString(), before);
        QVERIFY(js("window.stillHere === true").toBool());
        js("window.open('file:///etc/passwd'); window.open('https://example.com/')");
        js("var f = document.createElement('iframe'); f.src = 'file:///etc/hostname';"
           "document.body.appendChild(f)");
        testwait::runFor(1500);
        QCOMPARE(js("location.href").toString(), before);
        const QWidgetList tops = QApplication::topLevelWidgets();
        QVERIFY(std::none_of(tops.cbegin(), tops.cend(), [](QWidget *w) {
            return qobject_cast<QWebEngineView *>(w) && w->isVisible();
        }));
    }

    void pageScriptsCannotReadFiles()
    {
        window = std::make_unique<MainWindow>();
        window->show();
        waitForPageLoaded();
        const QString secret = QDir::homePath() + "/secret.txt";
        QVERIFY(trackgen::writeText(secret, "private\n"));
        js(QStringLiteral("window.readResult = 'pending';"
                          "fetch('%1').then(function (r) { return r.text(); })"
                          ".then(function (t) { window.readResult = 'read: ' + t; },"
                          "      function (e) { window.readResult = 'refused'; });"
                          "var x = new XMLHttpRequest(); window.xhrResult = 'pending';"
                          "try { x.open('GET', '%1', false); x.send();"
                          "      window.xhrResult = 'read: ' + x.responseText; }"
                          "catch (e) { window.xhrResult = 'refused'; }")
               .arg(QUrl::fromLocalFile(secret).toString()));
        QVERIFY(testwait::waitUntil([&] { return js("window.readResult").toString() != "pending"; },
                                    10000));
        QCOMPARE(js("window.readResult").toString(), QString("refused"));
        QCOMPARE(js("window.xhrResult").toString(), QString("refused"));
    }

    // The variables that set the engine up are gone from what the program
    // hands its children, and without --debug no inspector listens.
    void engineVariablesStayWithTheEngine()
    {
        qputenv("QTWEBENGINE_REMOTE_DEBUGGING", "9024"); // handed down: not taken
        window = std::make_unique<MainWindow>();
        window->show();
        waitForPageLoaded();
        QVERIFY(qEnvironmentVariableIsEmpty("QTWEBENGINE_REMOTE_DEBUGGING"));
        QVERIFY(qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX"));
        QTcpSocket inspector;
        inspector.connectToHost("127.0.0.1", 9024);
        QVERIFY(!inspector.waitForConnected(3000));
    }
};

VELOMAR_WINDOW_TEST_MAIN(MapDesktopTest)
#include "tst_mapdesktop.moc"
