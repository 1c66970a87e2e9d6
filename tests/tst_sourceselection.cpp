// Which track file a video takes, with real files in a scratch folder.

#include "testutil.h"
#include "videoinfoparse.h"

namespace {

// Two fixes, told apart by their speed.
QStringList converted(double speed)
{
    return {QStringLiteral("B,061517,120000.000,22.5,N,113.9,E,%1,0,0,0;").arg(speed),
            QStringLiteral("B,061517,120001.000,22.6,N,113.9,E,%1,0,0,0;").arg(speed)};
}

QStringList info(double speed)
{
    return {QStringLiteral("20170615 12:00:00,22.5,113.9,1,0,0,%1").arg(speed),
            QStringLiteral("20170615 12:00:01,22.6,113.9,1,0,0,%1").arg(speed)};
}

QString gpx(double speed)
{
    return QStringLiteral("<gpx><pt time=\"2017-06-15T12:00:00Z\" lat=\"22.5\" lon=\"113.9\" "
                          "speed=\"%1\"/><pt time=\"2017-06-15T12:00:01Z\" lat=\"22.6\" "
                          "lon=\"113.9\" speed=\"%1\"/></gpx>")
        .arg(speed);
}

} // namespace

class SourceSelectionTest : public QObject
{
    Q_OBJECT

private slots:
    void infoWinsOverText()
    {
        Scratch s;
        s.lines("clip.info", info(11));
        s.lines("clip.TXT", converted(22));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clip.MP4")), 0);
        QCOMPARE(store.maxSpeed, 11.0);
    }

    void badInfoTriesNothingElse()
    {
        Scratch s;
        s.lines("clip.info", {"garbage"});
        s.lines("clip.TXT", converted(22));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clip.MP4")), -1);
        QCOMPARE(store.isParsed, 0);
        QCOMPARE(store.count, 0); // reset after the failure
        QCOMPARE(store.maxSpeed, 0.0);
    }

    void badInfoStillFallsBackFromBToA()
    {
        Scratch s;
        s.lines("clipB.info", {"garbage"});
        s.lines("clipA.TXT", converted(33));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clipB.MP4")), 0);
        QCOMPARE(store.maxSpeed, 33.0);
    }

    void textWinsOverMap()
    {
        Scratch s;
        s.lines("clip.TXT", converted(22));
        s.lines("clip.map", converted(44));
        s.bytes("clip.GPX", gpx(55).toUtf8());
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clip.MP4")), 0);
        QCOMPARE(store.maxSpeed, 22.0);
    }

    void mapWinsOverGpx()
    {
        Scratch s;
        s.lines("clip.map", converted(44));
        s.bytes("clip.GPX", gpx(55).toUtf8());
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clip.MP4")), 0);
        QCOMPARE(store.maxSpeed, 44.0);
    }

    void gpxIsReadFromTheSecondOpening()
    {
        Scratch s;
        s.bytes("clip.GPX", gpx(55).toUtf8());
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clip.MP4")), -1);
        QCOMPARE(store.isParsed, 0);
        QVERIFY(s.exists("clip.map"));
        QCOMPARE(store.parseFile(s.path("clip.MP4")), 0);
        QCOMPARE(store.maxSpeed, 55.0);
        QCOMPARE(store.count, 2);
    }

    void extensionsMatchWithTheirCase()
    {
        Scratch s;
        s.lines("clip.txt", converted(22));
        s.lines("clip.MAP", converted(22));
        s.lines("clip.INFO", info(22));
        s.bytes("clip.gpx", gpx(22).toUtf8());
        QVERIFY(trackgen::makeClip(s.path("clip.MP4"), 1));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clip.MP4")), -1);
    }

    void subtitleTrackOnTheFirstOpening()
    {
        Scratch s;
        const QVector<trackgen::Fix> drive = trackgen::drive(5);
        QStringList lines;
        for (const trackgen::Fix &f : drive)
            lines << trackgen::rmcLine(f);
        QVERIFY(trackgen::writeText(s.path("track.srt"), trackgen::srtDocument(lines)));
        QString error;
        QVERIFY2(trackgen::makeClip(s.path("clip.MP4"), 5, s.path("track.srt"), &error),
                 qPrintable(error));

        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clip.MP4")), 0);
        QCOMPARE(store.count, 5);
        QVERIFY(!s.exists("clip.srt"));
        QVERIFY(s.exists("clip.map"));
        QCOMPARE(store.videoInfoMap.value(4)->time, trackgen::hhmmss(drive[4].secondOfDay, ":"));

        // The ".map" left behind serves the next opening without ffmpeg.
        store.ffmpegPath = s.path("no-such-ffmpeg");
        QCOMPARE(store.parseFile(s.path("clip.MP4")), 0);
        QCOMPARE(store.count, 5);
    }

    void noTrackAtAll()
    {
        Scratch s;
        QVERIFY(trackgen::makeClip(s.path("clip.MP4"), 1));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clip.MP4")), -1);
        QCOMPARE(store.isParsed, 0);
        QVERIFY(!s.exists("clip.srt"));
        QVERIFY(!s.exists("clip.map"));
    }

    void bVideoBorrowsItsATwinsTrack()
    {
        Scratch s;
        s.lines("20170101_120000A.TXT", converted(66));
        QVERIFY(trackgen::makeClip(s.path("20170101_120000B.MP4"), 1));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("20170101_120000B.MP4")), 0);
        QCOMPARE(store.maxSpeed, 66.0);
    }

    void bVideoPrefersItsOwnTrack()
    {
        Scratch s;
        s.lines("20170101_120000A.TXT", converted(66));
        s.lines("20170101_120000B.TXT", converted(77));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("20170101_120000B.MP4")), 0);
        QCOMPARE(store.maxSpeed, 77.0);
    }

    void onlyAnUpperCaseBBorrows()
    {
        Scratch s;
        s.lines("clipA.TXT", converted(66));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clipb.MP4")), -1);
    }

    void pathWithoutDotIsItsOwnBase()
    {
        Scratch s;
        s.lines("clipB.TXT", converted(22));
        s.lines("clipA.TXT", converted(66));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clipB")), 0); // base = the whole path
        QCOMPARE(store.maxSpeed, 22.0);
    }

    void pathWithoutDotDoesNotBorrow()
    {
        Scratch s;
        s.lines("clipA.TXT", converted(66));
        QVERIFY(trackgen::makeClip(s.path("clipB.MP4"), 1));
        QVERIFY(QFile::rename(s.path("clipB.MP4"), s.path("clipB")));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("clipB")), -1);
    }

    void failedParseResetsTheFigures()
    {
        Scratch s;
        s.lines("good.TXT", converted(22));
        s.lines("bad.TXT", {"nothing useful"});
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("good.MP4")), 0);
        QCOMPARE(store.parseFile(s.path("bad.MP4")), -1);
        QCOMPARE(store.isParsed, 0);
        QCOMPARE(store.count, 0);
        QCOMPARE(store.maxSpeed, 0.0);
        QCOMPARE(store.totalDistance, 0.0);
    }
};

QTEST_GUILESS_MAIN(SourceSelectionTest)
#include "tst_sourceselection.moc"
