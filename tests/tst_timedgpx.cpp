// A phone's or a logger's GPX beside a clip (CLIP.GPX), laid on the video by
// the times of its points; the camera's own flat XML keeps its conversion.

#include "testutil.h"
#include "videoinfoparse.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <cmath>
#include <ctime>

namespace {

struct Pt
{
    QDateTime time;
    double lat;
    double lon;
};

QString gpx(const QVector<Pt> &points, bool withSpeed, const QString &element = "trkpt")
{
    QString x =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<gpx version=\"1.1\" creator=\"phone\" xmlns=\"http://www.topografix.com/GPX/1/1\">\n"
        "<trk><name>drive</name><trkseg>\n";
    if (element == "wpt")
        x = "<?xml version=\"1.0\"?>\n<gpx version=\"1.0\">\n";
    for (const Pt &p : points) {
        x += QStringLiteral("<%1 lat=\"%2\" lon=\"%3\"><ele>100.5</ele><time>%4</time>%5</%1>\n")
                 .arg(element)
                 .arg(p.lat, 0, 'f', 7)
                 .arg(p.lon, 0, 'f', 7)
                 .arg(p.time.toString(Qt::ISODateWithMs))
                 .arg(withSpeed ? "<speed>12.5</speed>" : "");
    }
    x += element == "wpt" ? "</gpx>\n" : "</trkseg></trk></gpx>\n";
    return x;
}

} // namespace

class TimedGpxTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    const QDateTime recorded{QDate(2023, 5, 14), QTime(12, 0, 0), Qt::UTC};

private slots:
    void initTestCase()
    {
        // File-name times are local: this run's local time is UTC.
        qputenv("TZ", "UTC");
        tzset();
        QVERIFY(dir.isValid());
    }

    void placedByContainerTime()
    {
        const QString folder = dir.filePath("phone");
        QDir().mkpath(folder);
        QVERIFY(trackgen::makeClipRecordedAt(folder + "/CLIP.MP4", 10, recorded));
        // A phone logging every second, half a second off the video's
        // seconds, from before the clip began to after it ended.
        QVector<Pt> points;
        for (int i = -5; i < 20; ++i)
            points.append(
                {recorded.addMSecs(i * 1000 + 500), 48.0 + i * 0.0001, 11.0 + i * 0.0002});
        QVERIFY(trackgen::writeText(folder + "/CLIP.GPX", gpx(points, true)));
        const QStringList before = QDir(folder).entryList(QDir::Files);

        VideoInfoParse store;
        QCOMPARE(store.parseFile(folder + "/CLIP.MP4"), 0);
        QCOMPARE(store.source, QString("gpx"));
        QCOMPARE(store.count, 10);
        for (int k = 0; k < 10; ++k) {
            const VideoInfo *s = store.videoInfoMap.value(k);
            QVERIFY(s->valid);
            // Second k lies halfway between the points at k - 0.5 and k + 0.5.
            QVERIFY(std::abs(s->signedLatitude() - (48.0 + (k - 0.5) * 0.0001)) < 1e-9);
            QVERIFY(std::abs(s->signedLongitude() - (11.0 + (k - 0.5) * 0.0002)) < 1e-9);
            QCOMPARE(s->speed, 12.5 * 3.6);
            QCOMPARE(s->date, QString("2023:05:14"));
            QCOMPARE(s->time, recorded.addSecs(k).time().toString("hh:mm:ss"));
            QCOMPARE(s->altitude, 100.5);
        }
        // Nothing written beside the video, the GPX untouched.
        QCOMPARE(QDir(folder).entryList(QDir::Files), before);
        // And read the same way every time.
        VideoInfoParse again;
        QCOMPARE(again.parseFile(folder + "/CLIP.MP4"), 0);
        QCOMPARE(again.source, QString("gpx"));
    }

    void placedByFileNameWithSparseLogger()
    {
        const QString folder = dir.filePath("logger");
        QDir().mkpath(folder);
        const QString video = folder + "/20230514_120000_0001.MP4";
        QVERIFY(trackgen::makeClip(video, 12));
        // A logger every 4 s, no speeds; it stops at second 6 and starts
        // again 40 s later: the seconds in the long gap hold no fix.
        QVector<Pt> points;
        for (int t : {-2, 2, 6, 46, 50})
            points.append({recorded.addSecs(t), 50.0 + t * 0.0001, 8.0});
        QVERIFY(
            trackgen::writeText(folder + "/20230514_120000_0001.GPX", gpx(points, false, "wpt")));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(video), 0);
        QCOMPARE(store.count, 12);
        for (int k = 0; k < 12; ++k) {
            const VideoInfo *s = store.videoInfoMap.value(k);
            if (k <= 6) {
                QVERIFY2(s->valid, qPrintable(QString::number(k)));
                QVERIFY(std::abs(s->signedLatitude() - (50.0 + k * 0.0001)) < 1e-9);
            } else {
                QVERIFY2(!s->valid, qPrintable(QString::number(k)));
            }
        }
        // Speed from the positions: 0.0004 degrees of latitude in 4 s.
        QVERIFY(std::abs(store.videoInfoMap.value(5)->speed - 0.0001 * 111195 * 3.6) < 0.5);
    }

    void cannotBePlacedWithoutARecordingTime()
    {
        const QString folder = dir.filePath("untimed");
        QDir().mkpath(folder);
        QVERIFY(trackgen::makeClip(folder + "/clip.MP4", 3));
        QVector<Pt> points{{recorded, 1, 2}, {recorded.addSecs(1), 1, 2.0001}};
        QVERIFY(trackgen::writeText(folder + "/clip.GPX", gpx(points, false)));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot be placed"));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(folder + "/clip.MP4"), -1);
        QCOMPARE(store.count, 0);
        QVERIFY(!QFile::exists(folder + "/clip.map"));
    }

    void cameraFlatXmlKeepsItsConversion()
    {
        const QString folder = dir.filePath("camera");
        QDir().mkpath(folder);
        QVERIFY(trackgen::makeClip(folder + "/clip.MP4", 3));
        QVERIFY(
            trackgen::writeText(folder + "/clip.GPX", trackgen::gpxDocument(trackgen::drive(3))));
        VideoInfoParse store;
        QCOMPARE(store.parseFile(folder + "/clip.MP4"), -1); // converted now, read next time
        QVERIFY(QFile::exists(folder + "/clip.map"));
        QCOMPARE(store.parseFile(folder + "/clip.MP4"), 0);
        QCOMPARE(store.source, QString("map"));
    }
};

QTEST_GUILESS_MAIN(TimedGpxTest)
#include "tst_timedgpx.moc"
