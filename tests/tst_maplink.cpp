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
};

QTEST_GUILESS_MAIN(MapLinkTest)
#include "tst_maplink.moc"
