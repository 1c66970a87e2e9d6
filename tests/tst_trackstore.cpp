// The store, its geodesy and the accumulation every reader shares.

#include "testutil.h"
#include "videoinfoparse.h"

#include <cmath>

namespace {

// A converted "B" line: decimal degrees as they stand, speed in km/h.
QString fix(double lat, double lon, double speed = 30.0, const QString &kind = "B")
{
    return QStringLiteral("%1,061517,120000.000,%2,N,%3,E,%4,-08.72,+01.41,+00.59;")
        .arg(kind)
        .arg(lat, 0, 'g', 17)
        .arg(lon, 0, 'g', 17)
        .arg(speed, 0, 'g', 17);
}

QString voidFix()
{
    return "B,061517,120000.000,22.5,X,113.9,E,99,-08.72,+01.41,+00.59;";
}

} // namespace

class TrackStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void freshStoreIsEmpty()
    {
        VideoInfoParse store;
        QCOMPARE(store.isParsed, 0);
        QCOMPARE(store.count, 0);
        QCOMPARE(store.maxSpeed, 0.0);
        QCOMPARE(store.avgSpeed, 0.0);
        QCOMPARE(store.totalDistance, 0.0);
        QVERIFY(store.videoInfoMap.isEmpty());
    }

    void resetKeepsTheSamples()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.map", twoConvertedFixes())), 0);
        store.resetVideoInfo();
        QCOMPARE(store.isParsed, 0);
        QCOMPARE(store.count, 0);
        QCOMPARE(store.maxSpeed, 0.0);
        QCOMPARE(store.avgSpeed, 0.0);
        QCOMPARE(store.totalDistance, 0.0);
        QCOMPARE(store.videoInfoMap.size(), 2);
    }

    void ddTran_data()
    {
        QTest::addColumn<double>("ddmm");
        QTest::addColumn<double>("degrees");
        QTest::newRow("zero") << 0.0 << 0.0;
        QTest::newRow("120 degrees") << 12000.0 << 120.0;
        QTest::newRow("45.5") << 4530.0 << 45.5;
        QTest::newRow("39 59.5") << 3959.5 << 39.0 + 59.5 / 60.0;
    }
    void ddTran()
    {
        QFETCH(double, ddmm);
        QFETCH(double, degrees);
        QCOMPARE(VideoInfoParse::DDTran(ddmm), degrees);
    }

    void ddTranOutsideItsDomainStaysDefined()
    {
        QVERIFY(std::isnan(VideoInfoParse::DDTran(std::nan(""))));
        QVERIFY(!std::isfinite(VideoInfoParse::DDTran(INFINITY)));
        QVERIFY(std::isfinite(VideoInfoParse::DDTran(1e308)));
        QCOMPARE(VideoInfoParse::DDTran(-4530.0), -45.5);
    }

    void distanceUsesSinglePrecisionPi()
    {
        VideoInfoParse store;
        // Along the equator the haversine is the radius times the angle.
        const double singlePi = 3.1415927410125732;
        const double d = store.get2PointDistance(0.0, 0.0, 0.0, 1.0);
        QVERIFY(std::fabs(d - 6378137.0 * singlePi / 180.0) < 1e-6);
        QVERIFY(std::fabs(d - 6378137.0 * M_PI / 180.0) > 1e-3);
        QCOMPARE(store.get2PointDistance(22.5, 113.9, 22.5, 113.9), 0.0);
        // Symmetric, and a degree of latitude is the same length anywhere.
        QCOMPARE(store.get2PointDistance(10, 20, 11, 20), store.get2PointDistance(11, 20, 10, 20));
        QVERIFY(std::fabs(store.get2PointDistance(10, 20, 11, 20) -
                          store.get2PointDistance(50, -70, 51, -70)) < 1e-6);
    }

    void allInvalidLinesLeavePlaceholdersAndFail()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.map", {voidFix(), voidFix(), voidFix()})), -1);
        QCOMPARE(store.isParsed, 0);
        QCOMPARE(store.count, 3);
        QCOMPARE(store.videoInfoMap.size(), 3);
        for (const VideoInfo *v : qAsConst(store.videoInfoMap)) {
            QCOMPARE(v->valid, 0);
            QCOMPARE(v->date, QString("FFFF:FF:FF"));
            QCOMPARE(v->time, QString("00:00:00"));
            QCOMPARE(v->latitude, 0.0);
            QCOMPARE(v->longitude, 0.0);
            QCOMPARE(v->speed, 0.0);
        }
        QCOMPARE(store.maxSpeed, 0.0);
    }

    void oneValidSampleFails()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.map", {voidFix(), fix(22.5, 113.9), voidFix()})),
                 -1);
        QCOMPARE(store.isParsed, 0);
        QCOMPARE(store.count, 3);
    }

    void twoValidSamplesAverageOverOneSecond()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.map", {fix(22.5, 113.9), fix(22.501, 113.9)})),
                 0);
        const double km = store.get2PointDistance(22.501, 113.9, 22.5, 113.9) / 1000.0;
        QCOMPARE(store.isParsed, 1);
        QCOMPARE(store.totalDistance, km);
        QCOMPARE(store.avgSpeed, km * 3600.0 / 1);
    }

    void fixOnZeroStartsNoLeg_data()
    {
        QTest::addColumn<double>("firstLat");
        QTest::addColumn<double>("firstLon");
        QTest::newRow("latitude 0") << 0.0 << 10.0;
        QTest::newRow("longitude 0") << 10.0 << 0.0;
    }
    void fixOnZeroStartsNoLeg()
    {
        QFETCH(double, firstLat);
        QFETCH(double, firstLon);
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(
                     s.lines("t.map", {fix(firstLat, firstLon), fix(1.0, 10.0), fix(2.0, 10.0)})),
                 0);
        const double km = store.get2PointDistance(2.0, 10.0, 1.0, 10.0) / 1000.0;
        QCOMPARE(store.totalDistance, km);
        QCOMPARE(store.avgSpeed, km * 3600.0 / 2); // all three fixes count
    }

    void invalidSecondsBridgedByOneLeg()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.lines(
                     "t.map", {fix(22.5, 113.9), voidFix(), voidFix(), fix(22.51, 113.91)})),
                 0);
        const double km = store.get2PointDistance(22.51, 113.91, 22.5, 113.9) / 1000.0;
        QCOMPARE(store.count, 4);
        QCOMPARE(store.totalDistance, km);
        QCOMPARE(store.avgSpeed, km * 3600.0 / 1); // the two void seconds are not in the divisor
        QCOMPARE(store.videoInfoMap.value(3)->latitude, 22.51);
    }

    void zeroSpeedsLeaveMaximumAtZero()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(
                     s.lines("t.map", {fix(22.5, 113.9, 0.0), fix(22.6, 113.9, 0.0)})),
                 0);
        QCOMPARE(store.maxSpeed, 0.0);
    }

    void maximumIsTheHighestStoredSpeed()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(
            store.parseGpsInfoFile(s.lines(
                "t.map", {fix(22.5, 113.9, 12.5), fix(22.6, 113.9, 88.25), fix(22.7, 113.9, 40)})),
            0);
        QCOMPARE(store.maxSpeed, 88.25);
    }

    void signedPositionFollowsTheFlags()
    {
        VideoInfo v;
        v.latitude = 33.5;
        v.longitude = 151.25;
        QCOMPARE(v.signedLatitude(), -33.5);
        QCOMPARE(v.signedLongitude(), -151.25);
        v.isNorth = 1;
        v.isEast = 1;
        QCOMPARE(v.signedLatitude(), 33.5);
        QCOMPARE(v.signedLongitude(), 151.25);
    }

    void aNewParseReplacesTheOldSamples()
    {
        // Freed on clear: a leak would show under ASan and valgrind.
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.lines("a.map", {fix(1, 1), fix(2, 2), fix(3, 3)})), 0);
        store.resetVideoInfo();
        QCOMPARE(store.parseGpsInfoFile(s.lines("b.map", {fix(5, 5), fix(6, 6)})), 0);
        QCOMPARE(store.count, 2);
        QCOMPARE(store.videoInfoMap.size(), 2);
        QCOMPARE(store.videoInfoMap.value(0)->latitude, 5.0);
    }
};

QTEST_GUILESS_MAIN(TrackStoreTest)
#include "tst_trackstore.moc"
