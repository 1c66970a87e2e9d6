// The map commands' texts and the rule for who may receive them.

#include "maplink.h"

#include <QRegularExpression>
#include <QTest>
#include <QUrlQuery>
#include <limits>

class MapLinkTest : public QObject
{
    Q_OBJECT

private slots:
    void pointsWithTenSignificantDigits()
    {
        QCOMPARE(maplink::pointCommand("setLineNewPoint", -33.5, -70.25),
                 QString("setLineNewPoint(-33.5, -70.25);"));
        QCOMPARE(maplink::pointCommand("gotoNextPoint", 22.543210987654, 113.941234567),
                 QString("gotoNextPoint(22.54321099, 113.9412346);"));
        QCOMPARE(maplink::pointCommand("mapinitialize", 0.0000123456789012, 180),
                 QString("mapinitialize(1.23456789e-05, 180);"));
    }

    void notFiniteIsNeverSent()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double inf = std::numeric_limits<double>::infinity();
        QVERIFY(maplink::pointCommand("setStartPoint", nan, 1).isEmpty());
        QVERIFY(maplink::pointCommand("setStartPoint", 1, inf).isEmpty());
        QVERIFY(maplink::pointCommand("setStartPoint", -inf, nan).isEmpty());
        QVERIFY(!maplink::pointCommand("setStartPoint", 1e308, -1e308).isEmpty());
    }

    void defaultView()
    {
        QCOMPARE(maplink::defaultView(), QString("mapinitialize(22, 115.6786234);"));
    }

    void tokenIsFreshEachTime()
    {
        const QString a = maplink::newToken();
        const QString b = maplink::newToken();
        QVERIFY(QRegularExpression("^[0-9a-f]{32}$").match(a).hasMatch());
        QVERIFY(a != b);
    }

    void browserUrlCarriesTheToken()
    {
        const QUrl url =
            maplink::browserPageUrl("/opt/velomar/res/map/Google-earth.html", "abc123");
        QCOMPARE(url.scheme(), QString("file"));
        QCOMPARE(url.toLocalFile(), QString("/opt/velomar/res/map/Google-earth.html"));
        QCOMPARE(QUrlQuery(url).queryItemValue("token"), QString("abc123"));
        QCOMPARE(url.toString(),
                 QString("file:///opt/velomar/res/map/Google-earth.html?token=abc123"));
    }

    void whoMayConnect_data()
    {
        QTest::addColumn<QString>("origin");
        QTest::addColumn<QString>("requestUrl");
        QTest::addColumn<bool>("allowed");
        const QString withToken = "ws://127.0.0.1:9090/?token=t0k3n";
        const QString without = "ws://127.0.0.1:9090/";
        QTest::newRow("local program, no Origin") << "" << without << true;
        QTest::newRow("file page with the token") << "null" << withToken << true;
        QTest::newRow("file:// origin with the token") << "file://" << withToken << true;
        QTest::newRow("null without the token") << "null" << without << false;
        QTest::newRow("null with a wrong token") << "null"
                                                 << "ws://127.0.0.1:9090/?token=guess" << false;
        QTest::newRow("null with an empty token") << "null"
                                                  << "ws://127.0.0.1:9090/?token=" << false;
        QTest::newRow("web site") << "https://example.com" << without << false;
        QTest::newRow("web site with the token") << "https://example.com" << withToken << false;
        QTest::newRow("local web server") << "http://127.0.0.1:8000" << withToken << false;
        QTest::newRow("capitals") << "HTTP://127.0.0.1:8000" << withToken << false;
    }
    void whoMayConnect()
    {
        QFETCH(QString, origin);
        QFETCH(QString, requestUrl);
        QFETCH(bool, allowed);
        QCOMPARE(maplink::clientAllowed(origin, QUrl(requestUrl), "t0k3n"), allowed);
    }

    void noTokenLetsNoPageIn()
    {
        QVERIFY(!maplink::clientAllowed("null", QUrl("ws://127.0.0.1:9090/?token="), ""));
        QVERIFY(!maplink::clientAllowed("null", QUrl("ws://127.0.0.1:9090/"), ""));
    }

    // Only a client with the run's token may send clicks; a local program
    // let in without an Origin may not.
    void clicksNeedTheToken()
    {
        QVERIFY(maplink::clientHasToken(QUrl("ws://127.0.0.1:9090/?token=t0k3n"), "t0k3n"));
        QVERIFY(!maplink::clientHasToken(QUrl("ws://127.0.0.1:9090/"), "t0k3n"));
        QVERIFY(!maplink::clientHasToken(QUrl("ws://127.0.0.1:9090/?token=guess"), "t0k3n"));
        QVERIFY(!maplink::clientHasToken(QUrl("ws://127.0.0.1:9090/?token="), ""));
        QVERIFY(!maplink::clientHasToken(QUrl("ws://127.0.0.1:9090/"), ""));
    }

    void driveCommands()
    {
        QCOMPARE(maplink::driveCommand(3, 1), QString("setDrive(3, 1);"));
        QCOMPARE(maplink::driveCommand(0, -1), QString("setDrive(0, -1);"));
        QCOMPARE(maplink::driveCurrentCommand(2), QString("setDriveCurrent(2);"));
        QCOMPARE(maplink::driveRouteCommand(0, {}), QString("setDriveRoute(0, []);"));
        QCOMPARE(maplink::driveRouteCommand(
                     4, {QPointF(-33.5, -70.25), QPointF(22.543210987654, 113.941234567),
                         QPointF(0.0000123456789012, 180), QPointF(-90, -180)}),
                 QString("setDriveRoute(4, [[-33.5,-70.25],[22.54321099,113.9412346],"
                         "[1.23456789e-05,180],[-90,-180]]);"));
    }

    void driveRoutesHoldFiniteDegreesOnly()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double inf = std::numeric_limits<double>::infinity();
        int skipped = 0;
        QCOMPARE(maplink::driveRouteCommand(1,
                                            {QPointF(nan, 1), QPointF(22.5, 114), QPointF(1, inf),
                                             QPointF(-inf, 0), QPointF(90.5, 0), QPointF(0, -181),
                                             QPointF(22.6, 114.1)},
                                            &skipped),
                 QString("setDriveRoute(1, [[22.5,114],[22.6,114.1]]);"));
        QCOMPARE(skipped, 5);
        QCOMPARE(maplink::driveRouteCommand(0, {QPointF(nan, nan)}, &skipped),
                 QString("setDriveRoute(0, []);"));
        QCOMPARE(skipped, 6);
    }

    void clicksAsThePagesWriteThem_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<double>("latitude");
        QTest::addColumn<double>("longitude");
        QTest::newRow("Shenzhen") << "click 22.5412345 114.0512345" << 22.5412345 << 114.0512345;
        QTest::newRow("south-west") << "click -33.5000000 -70.2500000" << -33.5 << -70.25;
        QTest::newRow("whole degrees") << "click 0 -180" << 0.0 << -180.0;
        QTest::newRow("the poles' edges") << "click -90.0000000 180.0000000" << -90.0 << 180.0;
        QTest::newRow("twelve decimals") << "click 1.123456789012 2.5" << 1.123456789012 << 2.5;
    }
    void clicksAsThePagesWriteThem()
    {
        QFETCH(QString, message);
        QFETCH(double, latitude);
        QFETCH(double, longitude);
        double lat = 1000, lon = 1000;
        QVERIFY(maplink::parseClick(message, &lat, &lon));
        QCOMPARE(lat, latitude);
        QCOMPARE(lon, longitude);
    }

    void anythingElseIsNoClick_data()
    {
        QTest::addColumn<QString>("message");
        const QStringList bad{
            "",
            "click",
            "click ",
            "click 22.5",
            "click 22.5 ",
            "click 22.5 114 ",
            " click 22.5 114",
            "click 22.5 114\n",
            "click 22.5\t114",
            "click  22.5 114",
            "click 22.5 114 1",
            "Click 22.5 114",
            "click 22,5 114",
            "click 22.5, 114",
            "click +22.5 114",
            "click 22. 114",
            "click .5 114",
            "click 022.5 114",
            "click 22.5e0 114",
            "click 1e1 114",
            "click 0x10 114",
            "click NaN 114",
            "click nan 114",
            "click 22.5 Infinity",
            "click 22.5 inf",
            "click 90.0000001 0",
            "click -90.5 0",
            "click 0 180.0000001",
            "click 0 -181",
            "click 999 0",
            "click 1.1234567890123 0",
            "click 22.5 114" + QString(100, QLatin1Char(' ')),
            "click " + QString(70, QLatin1Char('1')) + " 1",
            "hello(0, 0);",
            "mapinitialize(22.5, 114);",
            QString::fromUtf8("click 22.5 11\xd9\xa4"), // an Arabic-Indic digit
        };
        for (const QString &m : bad)
            QTest::newRow(qPrintable(m.left(40))) << m;
    }
    void anythingElseIsNoClick()
    {
        QFETCH(QString, message);
        double lat = 1000, lon = 1000;
        QVERIFY(!maplink::parseClick(message, &lat, &lon));
        QCOMPARE(lat, 1000.0); // left alone
        QCOMPARE(lon, 1000.0);
    }
};

QTEST_GUILESS_MAIN(MapLinkTest)
#include "tst_maplink.moc"
