// The camera's ".info" track.

#include "testutil.h"
#include "videoinfoparse.h"

class InfoReaderTest : public QObject
{
    Q_OBJECT

private slots:
    void exampleLine()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseMarlGpsInfoFile(
                     s.lines("c.info", {"20170615 12:34:56,22.5432,113.9412,1,0,0,36.5",
                                        "20170615 12:34:57,22.5433,113.9413,1,0,0,37"})),
                 0);
        const VideoInfo *v = store.videoInfoMap.value(0);
        QCOMPARE(v->date, QString("2017:06:15"));
        QCOMPARE(v->time, QString("12:34:56"));
        QCOMPARE(v->latitude, 22.5432);
        QCOMPARE(v->longitude, 113.9412);
        QCOMPARE(v->speed, 36.5);
        QCOMPARE(v->isNorth, 1);
        QCOMPARE(v->isEast, 1);
        QCOMPARE(v->valid, 1);
        QCOMPARE(store.maxSpeed, 37.0);
        const double km = store.get2PointDistance(22.5433, 113.9413, 22.5432, 113.9412) / 1000.0;
        QCOMPARE(store.totalDistance, km);
        QCOMPARE(store.avgSpeed, km * 3600.0);
    }

    void bothFlagsFollowTheLatitude()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseMarlGpsInfoFile(
                     s.lines("c.info", {"20170615 01:00:00,-33.8688,151.2093,1,0,0,20",
                                        "20170615 01:00:01,-33.8689,151.2094,1,0,0,20",
                                        "20170615 01:00:02,40.7,-74.0,1,0,0,20"})),
                 0);
        const VideoInfo *south = store.videoInfoMap.value(0);
        QCOMPARE(south->isNorth, 0);
        QCOMPARE(south->isEast, 0);          // east of Greenwich, yet 0: both follow the latitude
        QCOMPARE(south->latitude, -33.8688); // stored signed, as it stands
        QCOMPARE(south->longitude, 151.2093);
        const VideoInfo *north = store.videoInfoMap.value(2);
        QCOMPARE(north->isNorth, 1);
        QCOMPARE(north->isEast, 1); // west of Greenwich, yet 1
    }

    void noFixIsAPlaceholder()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseMarlGpsInfoFile(
                     s.lines("c.info", {"20170615 12:34:56,22.5432,113.9412,1,0,0,36.5",
                                        "20170615 12:34:57,22.5433,113.9413,0,0,0,99",
                                        "20170615 12:34:58,22.5434,113.9414,-1,0,0,99",
                                        "20170615 12:34:59,22.5435,113.9415,x,0,0,99",
                                        "20170615 12:35:00,22.5436"})),
                 -1);
        QCOMPARE(store.count, 5); // no line is ever dropped
        for (int i = 1; i < 5; ++i) {
            const VideoInfo *v = store.videoInfoMap.value(i);
            QCOMPARE(v->valid, 0);
            QCOMPARE(v->date, QString("FFFF:FF:FF"));
            QCOMPARE(v->time, QString("00:00:00"));
            QCOMPARE(v->speed, 0.0);
            QCOMPARE(v->latitude, 0.0);
        }
        QCOMPARE(store.maxSpeed, 36.5);
        QCOMPARE(store.isParsed, 0);
    }

    void fixQualityTrimsBlanks()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(
            store.parseMarlGpsInfoFile(s.lines("c.info", {"20170615 12:34:56,22.5,113.9, 2 ,0,0,1",
                                                          "20170615 12:34:57,22.6,113.9,3,0,0,1"})),
            0);
        QCOMPARE(store.videoInfoMap.value(0)->valid, 1);
    }

    void missingFileWarns()
    {
        Scratch s;
        VideoInfoParse store;
        const QString path = s.path("none.info");
        QTest::ignoreMessage(QtWarningMsg, qPrintable("open " + path + " failed"));
        QCOMPARE(store.parseMarlGpsInfoFile(path), -1);
    }

    void emptyFileFails()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseMarlGpsInfoFile(s.bytes("c.info", "")), -1);
        QCOMPARE(store.parseMarlGpsInfoFile(s.bytes("d.info", "\n\r\n\n")), -1);
        QCOMPARE(store.count, 0);
    }

    void generatedDriveReadsBack()
    {
        Scratch s;
        const QVector<trackgen::Fix> drive = trackgen::drive(90, -33.8688, 151.2093);
        QStringList lines;
        for (const trackgen::Fix &f : drive)
            lines << trackgen::infoLine(f);
        VideoInfoParse store;
        QCOMPARE(store.parseMarlGpsInfoFile(s.lines("d.info", lines)), 0);
        QCOMPARE(store.count, 90);
        QCOMPARE(store.videoInfoMap.value(89)->time, trackgen::hhmmss(drive[89].secondOfDay, ":"));
        QCOMPARE(store.videoInfoMap.value(89)->date, QString("2017:06:15"));
    }
};

QTEST_GUILESS_MAIN(InfoReaderTest)
#include "tst_inforeader.moc"
