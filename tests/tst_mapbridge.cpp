// The map as the playing window drives it: what a browser copy receives over
// the local WebSocket (a real client), what the embedded page ran (its own
// log, read back), the page's drawing, and who is let in.

#include "desktopurls.h"
#include "mainwindow.h"
#include "maplink.h"
#include "maptest.h"
#include "media.h"
#include "mediatest.h"
#include "waituntil.h"
#include "windowfixture.h"

#include <QComboBox>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QSignalSpy>
#include <QSlider>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrlQuery>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <QWebSocket>
#include <memory>

using windowfixture::child;

namespace {

// A client of the map socket that keeps every message it receives.
class Client : public QObject
{
public:
    explicit Client(const QString &origin = QString(), const QString &query = QString())
        : socket(origin)
    {
        connect(&socket, &QWebSocket::textMessageReceived, this,
                [this](const QString &m) { messages << m; });
        connect(&socket, &QWebSocket::disconnected, this, [this] { closed = true; });
        socket.open(QUrl("ws://127.0.0.1:9090/" + query));
    }
    QWebSocket socket;
    QStringList messages;
    bool closed = false;
};

// An NMEA fix with an exact position: degrees and minutes as written.
QString rmc(const QString &hhmmss, const QString &status, const QString &lat, const QString &ns,
            const QString &lon, const QString &ew)
{
    const QString body = QStringLiteral("GPRMC,%1.000,%2,%3,%4,%5,%6,20.000,045.0,150617,,,A")
                             .arg(hhmmss, status, lat, ns, lon, ew);
    return '$' + body + '*' + trackgen::nmeaChecksum(body.toLatin1());
}

QStringList slice(const QStringList &list, int from, int count)
{
    return from < 0 ? QStringList() : list.mid(from, count);
}

} // namespace

class MapBridgeTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Scratch> scratch;
    std::unique_ptr<MainWindow> window;
    DesktopUrls desktop;

    media::AVPlayer *player() { return windowfixture::player(window.get()); }
    QWebEngineView *view() { return window->findChild<QWebEngineView *>(); }

    static QVariant js(QWebEnginePage *page, const QString &script)
    {
        return maptest::runJs(page, script, 10000);
    }
    QStringList pageLog() { return js(view()->page(), "velomarState().log").toStringList(); }

    void play(const QString &name)
    {
        windowfixture::drop(window.get(), {scratch->path(name)});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 20000);
    }
    // Plays the eight-second clip until the client has its route.
    void playLong(const Client &client)
    {
        play("long.MP4");
        QTRY_VERIFY(client.messages.filter("setEndPoint").size() == 1);
    }
    // Until the window has brought the page up to date (its loadFinished),
    // a client that connects may still receive that.
    void waitForPageLoaded()
    {
        QTRY_VERIFY_WITH_TIMEOUT(js(view()->page(), "typeof velomarState === 'function'").toBool(),
                                 20000);
        QTRY_VERIFY_WITH_TIMEOUT(pageLog().contains("mapinitialize(22, 115.6786234);"), 20000);
    }
    // Reloads the embedded page and waits until the new one has run the
    // window's commands.
    void reloadPage()
    {
        js(view()->page(), "window.velomarOldPage = true");
        QSignalSpy loaded(view()->page(), &QWebEnginePage::loadFinished);
        view()->reload();
        QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, 20000);
        QTRY_VERIFY(!js(view()->page(), "window.velomarOldPage === true").toBool());
    }
    // The run's token, from the page the window handed to the desktop.
    QString token()
    {
        for (const QUrl &u : desktop.opened) {
            const QRegularExpressionMatch m =
                QRegularExpression("Google-earth\\.html\\?token=([0-9a-f]+)")
                    .match(trackgen::readText(u.toLocalFile()));
            if (m.hasMatch())
                return m.captured(1);
        }
        return QString();
    }

private slots:
    void initTestCase()
    {
        scratch = std::make_unique<Scratch>();
        // Three fixes south-west, at positions exact in decimal.
        scratch->lines("three.TXT", {rmc("120000", "A", "3330.0000", "S", "07015.0000", "W"),
                                     rmc("120001", "A", "3330.6000", "S", "07015.6000", "W"),
                                     rmc("120002", "A", "3331.2000", "S", "07016.2000", "W")});
        // No fix for the first two seconds.
        scratch->lines("late.TXT", {rmc("120000", "V", "2230.0000", "N", "11400.0000", "E"),
                                    rmc("120001", "V", "2230.0000", "N", "11400.0000", "E"),
                                    rmc("120002", "A", "2230.0000", "N", "11400.0000", "E"),
                                    rmc("120003", "A", "2230.6000", "N", "11400.6000", "E")});
        // A number that is not one.
        scratch->lines("nan.map", {"B,061517,120000.000,22.5,N,114.0,E,30,-08.72,+01.41,+00.59;",
                                   "B,061517,120001.000,nan,N,114.1,E,30,-08.72,+01.41,+00.59;",
                                   "B,061517,120002.000,22.7,N,inf,E,30,-08.72,+01.41,+00.59;"});
        QStringList eight;
        for (const trackgen::Fix &f : trackgen::drive(8))
            eight << trackgen::rmcLine(f);
        scratch->lines("long.TXT", eight);
        scratch->lines("slow.TXT", eight);
        QVERIFY(mediatest::makeAvClip(scratch->path("three.MP4"), 3, false));
        QVERIFY(mediatest::makeAvClip(scratch->path("late.MP4"), 4, false));
        QVERIFY(mediatest::makeAvClip(scratch->path("nan.MP4"), 3, false));
        QVERIFY(mediatest::makeAvClip(scratch->path("none.MP4"), 3, false));
        QVERIFY(mediatest::makeAvClip(scratch->path("long.MP4"), 8, false));
        // Long enough to outlast a slow first page load.
        QVERIFY(mediatest::makeAvClip(scratch->path("slow.MP4"), 40, false, "64x36"));
    }

    void init()
    {
        desktop.opened.clear();
        window = std::make_unique<MainWindow>();
        window->show();
        waitForPageLoaded();
    }
    void cleanup() { window.reset(); }

    // The desktop gets a plain file, without a query that its openers would
    // lose: a page of the run's own, in a private folder, that sends the
    // browser on to the map page with the token. It is gone at exit.
    void browserCopyOpenedWithTheToken()
    {
        QCOMPARE(desktop.opened.size(), 1);
        const QUrl opened = desktop.opened[0];
        QVERIFY(opened.isLocalFile());
        QVERIFY(!opened.hasQuery() && !opened.hasFragment());
        const QFileInfo page(opened.toLocalFile());
        QVERIFY(page.isFile());
        QCOMPARE(QFileInfo(page.path()).permissions() &
                     (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther |
                      QFile::ExeGroup | QFile::ExeOther),
                 QFile::Permissions());
        QVERIFY(QRegularExpression("^[0-9a-f]{32}$").match(token()).hasMatch());
        const QString html = trackgen::readText(page.filePath());
        QVERIFY(html.contains("location.replace(\"file://"));
        QVERIFY(html.contains("/map/Google-earth.html?token=" + token()));
        window.reset();
        QVERIFY(!QFileInfo::exists(page.filePath()));
        QVERIFY(!QFileInfo::exists(page.path()));
    }

    void helloFirstThenTheRouteInOrder()
    {
        Client client;
        QTRY_COMPARE(client.messages, QStringList{"hello(0, 0);"});
        QTest::qWait(300);
        QCOMPARE(client.messages.size(), 1); // nothing sent before it came

        play("three.MP4");
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying(), 20000);
        const QStringList route{"mapinitialize(-33.5, -70.25);", "setStartPoint(-33.5, -70.25);",
                                "gotoNextPoint(-33.51, -70.26);", "setEndPoint(-33.52, -70.27);"};
        const QStringList &got = client.messages;
        QCOMPARE(slice(got, got.indexOf(route[0]), 4), route);
        // The travelled line a second at a time, then the default view at the stop.
        QVERIFY(got.count("setLineNewPoint(-33.51, -70.26);") >= 1);
        QTRY_COMPARE(got.last(), QString("mapinitialize(22, 115.6786234);"));

        // The embedded page ran the same commands, in the same order.
        const QStringList log = pageLog();
        QCOMPARE(log.mid(log.indexOf(route[0])), got.mid(got.indexOf(route[0])));
        QVERIFY(!log.contains("hello(0, 0);"));
    }

    void thePageDrawsTheRouteAndFollows()
    {
        play("long.MP4");
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>(window.get(), "videoSlider")->value() >= 3, 15000);
        player()->pause(true);
        const QVariantMap map = js(view()->page(), "velomarFlush(); velomarState()").toMap();
        const QJsonObject state = QJsonObject::fromVariantMap(map);
        QCOMPARE(state.value("routePoints").toArray().size(), 8);
        QVERIFY(state.value("start").isArray());
        QVERIFY(state.value("end").isArray());
        // Fitted to the new route (a hundred metres: the closest zoom, 16),
        // although the first second's point came right after it.
        QCOMPARE(state.value("zoom").toInt(), 16);
        const int travelled = state.value("travelledPoints").toArray().size();
        QVERIFY2(travelled >= 3 && travelled <= 5, qPrintable(QString::number(travelled)));
        // The view follows the travelled line.
        const QJsonArray last = state.value("travelledPoints").toArray().last().toArray();
        QVERIFY2(maptest::centredOn(map, {last[0].toDouble(), last[1].toDouble()}),
                 qPrintable(QJsonDocument(state.value("center").toArray()).toJson()));

        // As a person sees it: video, dashboard and map, from the display.
        QTest::qWait(500);
        QDir().mkpath(VELOMAR_ARTIFACTS);
        QVERIFY(window->screen()
                    ->grabWindow(window->winId())
                    .save(VELOMAR_ARTIFACTS "/mainwindow-playing.png"));
    }

    void routeStartsAtTheFirstValidFix()
    {
        Client client;
        play("late.MP4");
        QTRY_VERIFY(client.messages.contains("setEndPoint(22.51, 114.01);"));
        const QStringList route{"mapinitialize(22.5, 114);", "setStartPoint(22.5, 114);",
                                "setEndPoint(22.51, 114.01);"};
        QCOMPARE(slice(client.messages, client.messages.indexOf(route[0]), 3), route);
        QCOMPARE(client.messages.filter("mapinitialize").size(), 1);
    }

    void noTrackClearsAndSendsNoPoint()
    {
        Client client;
        play("none.MP4");
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying(), 20000);
        QVERIFY(client.messages.contains("clrRTploy();"));
        QVERIFY(client.messages.filter("Point").isEmpty());
        QTRY_COMPARE(client.messages.filter("mapinitialize"),
                     QStringList{"mapinitialize(22, 115.6786234);"}); // the stop only
    }

    void notFiniteIsNeverSent()
    {
        Client client;
        play("nan.MP4");
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying(), 20000);
        QVERIFY(client.messages.contains("mapinitialize(22.5, 114);"));
        for (const QString &m : client.messages)
            QVERIFY2(!m.contains("nan") && !m.contains("inf"), qPrintable(m));
        QVERIFY(js(view()->page(), "velomarState().errors").toList().isEmpty());
    }

    void seekBeforeAnyHoverMovesTheVideoOnly()
    {
        Client client;
        playLong(client);
        const int before = client.messages.size();
        window->seekBySlider(5);
        QTRY_VERIFY_WITH_TIMEOUT(player()->position() >= 5000, 5000);
        QTest::qWait(300);
        for (const QString &m : client.messages.mid(before))
            QVERIFY2(m.startsWith("setLineNewPoint("), qPrintable(m));
    }

    void seekAfterHoverRebuildsTheLine()
    {
        Client client;
        playLong(client);
        window->onTimeSliderHover(10, 2);
        const int before = client.messages.size();
        window->seekBySlider(4);
        // Within a frame (a tick of the video may come first): the route,
        // then the line rebuilt up to the new position.
        QTRY_VERIFY(client.messages.mid(before).filter("setEndPoint").size() == 1);
        const QStringList after = client.messages.mid(before);
        const int end = after.indexOf(QRegularExpression("^setEndPoint.*"));
        const int start = after.indexOf(QRegularExpression("^mapinitialize\\(.*"));
        QVERIFY(start >= 0 && start <= 1);
        QCOMPARE(after.mid(start, end - start).filter("setLineNewPoint"), QStringList());
        QTRY_VERIFY(client.messages.mid(before + end + 1).size() >= 4);
        const QStringList line = client.messages.mid(before + end + 1, 4);
        for (const QString &m : line)
            QVERIFY2(m.startsWith("setLineNewPoint("), qPrintable(m));
        window->onTimeSliderLeave();
    }

    // A drag seeks many times a frame: the map gets at most one route a
    // frame, and the last position always.
    void aDragDrawsTheRouteOnceAFrame()
    {
        Client client;
        playLong(client);
        window->onTimeSliderHover(10, 2);
        const int before = client.messages.size();
        // Sixty moves within one frame.
        for (int i = 0; i < 60; ++i)
            window->on_videoSlider_sliderMoved(1 + i % 5);
        window->on_videoSlider_sliderMoved(3); // the last move
        QTRY_VERIFY_WITH_TIMEOUT(client.messages.mid(before).filter("mapinitialize").size() >= 1,
                                 5000);
        testwait::runFor(500);
        const QStringList after = client.messages.mid(before);
        const int routes = after.filter("mapinitialize").size();
        QVERIFY2(routes == 1, qPrintable(QString::number(routes)));
        // The last route is followed by the line up to second 3.
        const int end = after.lastIndexOf(QRegularExpression("^setEndPoint.*"));
        QVERIFY(end > 0);
        QCOMPARE(after.mid(end + 1, 3).filter("setLineNewPoint").size(), 3);
        window->onTimeSliderLeave();
    }

    void aPageLoadIsBroughtUpToDate()
    {
        // Idle: the default view.
        reloadPage();
        QTRY_VERIFY_WITH_TIMEOUT(pageLog() == QStringList{"mapinitialize(22, 115.6786234);"},
                                 20000);
        // Playing: the whole route and the line so far.
        play("long.MP4");
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>(window.get(), "videoSlider")->value() >= 3, 15000);
        player()->pause(true);
        QTest::qWait(300); // the pause has taken hold
        const int n = int(player()->position() / 1000);
        reloadPage();
        QTRY_VERIFY_WITH_TIMEOUT(pageLog().filter("setEndPoint").size() == 1, 20000);
        const QStringList log = pageLog();
        QCOMPARE(log.filter("gotoNextPoint").size(), 6);
        QCOMPARE(log.filter("setLineNewPoint").size(), n);
        // After the route's nine commands (eight points and mapinitialize).
        QCOMPARE(log.indexOf(QRegularExpression("^setLineNewPoint.*")), 9);
    }

    void switchingTheMapWhileIdle()
    {
        auto *type = child<QComboBox>(window.get(), "cmbMapType");
        QVERIFY(type->isEnabled());
        type->setCurrentIndex(1);
        QTRY_VERIFY(view()->url().path().endsWith("/AMap.html"));
        waitForPageLoaded();
        QTRY_COMPARE(pageLog(), QStringList{"mapinitialize(22, 115.6786234);"});
        QFile settings(MainWindow::settingsPath());
        QVERIFY(settings.open(QIODevice::ReadOnly));
        QCOMPARE(QJsonDocument::fromJson(settings.readAll()).object().value("map").toInt(), 1);
        type->setCurrentIndex(0);
        QTRY_VERIFY(view()->url().path().endsWith("/Google-earth.html"));
    }

    void theMapChoiceIsLockedWhilePlaying()
    {
        play("three.MP4");
        QVERIFY(!child<QComboBox>(window.get(), "cmbMapType")->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying(), 20000);
        QVERIFY(child<QComboBox>(window.get(), "cmbMapType")->isEnabled());
    }

    // The newest client is fed; the one it replaces is closed with the code
    // that tells a page to stop reconnecting.
    void aSecondClientReplacesTheFirst()
    {
        Client first;
        QTRY_COMPARE(first.messages.size(), 1);
        Client second;
        QTRY_COMPARE(second.messages, QStringList{"hello(0, 0);"});
        QTRY_VERIFY(first.closed);
        QCOMPARE(int(first.socket.closeCode()), maplink::replacedCloseCode);
        play("three.MP4");
        QTRY_VERIFY(second.messages.contains("setEndPoint(-33.52, -70.27);"));
        QCOMPARE(first.messages, QStringList{"hello(0, 0);"});
    }

    void browserPagesNeedTheToken_data()
    {
        QTest::addColumn<QString>("origin");
        QTest::addColumn<bool>("withToken");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("file page with the token") << "null" << true << true;
        QTest::newRow("QtWebEngine file page with the token") << "file://" << true << true;
        QTest::newRow("sandboxed frame, no token") << "null" << false << false;
        QTest::newRow("web site") << "https://example.com" << false << false;
        QTest::newRow("web site that guessed right") << "http://127.0.0.1:8000" << true << false;
    }
    void browserPagesNeedTheToken()
    {
        QFETCH(QString, origin);
        QFETCH(bool, withToken);
        QFETCH(bool, allowed);
        Client local; // a program without an Origin is always let in
        QTRY_COMPARE(local.messages.size(), 1);
        Client page(origin, withToken ? "?token=" + token() : QString());
        if (allowed) {
            QTRY_COMPARE(page.messages, QStringList{"hello(0, 0);"});
            return;
        }
        QTRY_VERIFY(page.closed);
        QVERIFY(page.messages.isEmpty());
        // The refused one did not take the place of the one before.
        play("three.MP4");
        QTRY_VERIFY(local.messages.contains("setEndPoint(-33.52, -70.27);"));
    }

    void aRealWebSitePageIsRefused()
    {
        // A page served over http on another local port tries its luck, with
        // the right token even.
        QTcpServer site;
        QVERIFY(site.listen(QHostAddress::LocalHost));
        const QByteArray html =
            "<html><body><script>var got=[];var wsClosed=false;var ws=new WebSocket("
            "'ws://127.0.0.1:9090/?token=" +
            token().toLatin1() +
            "');ws.onmessage=function(e){got.push(e.data)};ws.onclose=function(){wsClosed=true};"
            "</script></body></html>";
        connect(&site, &QTcpServer::newConnection, this, [&] {
            QTcpSocket *s = site.nextPendingConnection();
            connect(s, &QTcpSocket::readyRead, s, [s, html] {
                s->readAll();
                s->write("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " +
                         QByteArray::number(html.size()) + "\r\nConnection: close\r\n\r\n" + html);
                s->disconnectFromHost();
            });
        });
        QWebEngineView other;
        other.load(QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(site.serverPort())));
        other.show();
        QTRY_VERIFY_WITH_TIMEOUT(
            js(other.page(), "typeof wsClosed !== 'undefined' && wsClosed").toBool(), 20000);
        QCOMPARE(js(other.page(), "got.length").toInt(), 0);
    }

    // A tile is an image the page fetches: its request names the player, as
    // tile servers ask.
    void tileRequestsNameThePlayer()
    {
        QByteArray request; // outlives the server's sockets
        QTcpServer tiles;
        QVERIFY(tiles.listen(QHostAddress::LocalHost));
        connect(&tiles, &QTcpServer::newConnection, this, [&] {
            QTcpSocket *s = tiles.nextPendingConnection();
            connect(s, &QTcpSocket::readyRead, s, [s, &request] {
                request += s->readAll();
                if (request.contains("\r\n\r\n")) {
                    s->write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n"
                             "Connection: close\r\n\r\n");
                    s->disconnectFromHost();
                }
            });
        });
        js(view()->page(), QStringLiteral("new Image().src = 'http://127.0.0.1:%1/16/1/2.png'")
                               .arg(tiles.serverPort()));
        QTRY_VERIFY_WITH_TIMEOUT(request.contains("\r\n\r\n"), 20000);
        QByteArray agent;
        for (const QByteArray &line : request.split('\n'))
            if (line.toLower().startsWith("user-agent:"))
                agent = line.trimmed();
        QVERIFY2(agent.endsWith(" Velomar/" VELOMAR_VERSION), agent.constData());
        QVERIFY2(agent.contains("Chrome/"), agent.constData()); // still a browser's, extended
    }

    // A clip dropped while the page still loads: nothing is run on a page
    // that has no commands yet, and the loaded page gets the route.
    void aPageStillLoadingIsNotSentCommands()
    {
        window.reset();
        static QStringList logged;
        logged.clear();
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &m) { logged << m; });
        window = std::make_unique<MainWindow>();
        window->show();
        windowfixture::drop(window.get(), {scratch->path("slow.MP4")});
        const bool played = QTest::qWaitFor([&] { return player()->isPlaying(); }, 20000);
        const bool drawn = QTest::qWaitFor(
            [&] {
                return js(view()->page(), "typeof velomarState === 'function' && "
                                          "velomarState().routeCount")
                           .toInt() == 8;
            },
            30000);
        qInstallMessageHandler(previous);
        QVERIFY(played);
        QVERIFY(drawn);
        QCOMPARE(logged.filter("is not defined"), QStringList());
    }

    // A local program floods the server: one 4 MiB message, then 400
    // connections opened and dropped. The window stays responsive, the
    // big client is closed, every socket is freed, and the next client is
    // greeted as ever.
    void aFloodLeavesTheServerWhole()
    {
        auto descriptors = [] { return QDir("/proc/self/fd").count(); };
        testwait::runFor(500);
        const uint before = descriptors();
        QProcess flood;
        flood.start(VELOMAR_MAP_FLOOD, QStringList());
        QElapsedTimer beat;
        beat.start();
        qint64 longestStall = 0;
        while (flood.state() != QProcess::NotRunning || !flood.waitForFinished(0)) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            longestStall = qMax(longestStall, beat.restart());
            if (flood.state() == QProcess::NotRunning)
                break;
        }
        const QString said = QString::fromLatin1(flood.readAllStandardOutput());
        qInfo().noquote() << "flood:" << said.simplified()
                          << "- longest stall of the window:" << longestStall << "ms";
        // Closed by the server (-1: still open 20 s after sending).
        QVERIFY2(said.contains("closed ") && !said.contains("closed -1"), qPrintable(said));
        QVERIFY2(said.contains("opened 400"), qPrintable(said));
        // Not a speed check: a stall this long would be a hang.
        QVERIFY2(longestStall < 3000, qPrintable(QString::number(longestStall)));
        QVERIFY2(
            testwait::waitUntil([&] { return descriptors() <= before; }, 20000),
            qPrintable(QStringLiteral("%1 descriptors, %2 before").arg(descriptors()).arg(before)));
        Client next;
        QTRY_COMPARE(next.messages, QStringList{"hello(0, 0);"});
    }

    void listensOnLoopbackOnly()
    {
        QTcpSocket other;
        other.connectToHost("127.0.0.2", 9090); // loopback, but not the bound address
        QVERIFY(!other.waitForConnected(3000));
        QTcpSocket bound;
        bound.connectToHost("127.0.0.1", 9090);
        QVERIFY(bound.waitForConnected(3000));
    }
};

VELOMAR_WINDOW_TEST_MAIN(MapBridgeTest)

#include "tst_mapbridge.moc"
