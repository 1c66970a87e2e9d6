// Per-video settings kept in the program's own folder: the time offset, and a
// track imported from a phone or a logger (GPX, KML, CSV, NMEA) that is laid
// on the video by time and comes before the camera's own track.

#include "testutil.h"
#include "trackimport.h"
#include "tracklimits.h"
#include "videoinfoparse.h"
#include "videosettings.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cmath>
#include <ctime>
#include <sys/stat.h>
#include <sys/types.h>

namespace {

bool gpsbabel(const QStringList &args)
{
    QProcess p;
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(QStandardPaths::findExecutable("gpsbabel"), args);
    return p.waitForFinished(30000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

// Everything in a folder, hidden files included.
QStringList listing(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

int modeOf(const QString &path)
{
    struct stat st;
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? int(st.st_mode & 07777) : -1;
}

// The phone's drive: a point a second, half a second off the video's
// seconds, from 5 s before the clip to 10 s after it.
const QDateTime recorded{QDate(2023, 5, 14), QTime(12, 0, 0), Qt::UTC};
double latAt(double i)
{
    return 48.0 + i * 0.0001;
}
double lonAt(double i)
{
    return 11.0 + i * 0.0002;
}
double altAt(double i)
{
    return 100.0 + i;
}

QString phoneGpx(int from = -5, int to = 19, const QDateTime &origin = recorded)
{
    QString x =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<gpx version=\"1.1\" creator=\"phone\" xmlns=\"http://www.topografix.com/GPX/1/1\">\n"
        "<trk><name>drive</name><trkseg>\n";
    for (int i = from; i <= to; ++i)
        x += QStringLiteral("<trkpt lat=\"%1\" lon=\"%2\"><ele>%3</ele><time>%4</time>"
                            "<speed>12.5</speed><fix>3d</fix><sat>8</sat></trkpt>\n")
                 .arg(latAt(i), 0, 'f', 7)
                 .arg(lonAt(i), 0, 'f', 7)
                 .arg(altAt(i), 0, 'f', 1)
                 .arg(origin.addMSecs(i * 1000 + 500).toString(Qt::ISODateWithMs));
    return x + "</trkseg></trk></gpx>\n";
}

// A sample as the dashboard shows it, to compare stores.
struct Shown
{
    int valid;
    double lat;
    double lon;
    double speed;
    QString date;
    QString time;
    bool operator==(const Shown &o) const
    {
        return valid == o.valid && lat == o.lat && lon == o.lon && speed == o.speed &&
               date == o.date && time == o.time;
    }
};

QVector<Shown> shown(const VideoInfoParse &store)
{
    QVector<Shown> out;
    for (int k = 0; k < store.count; ++k) {
        const VideoInfo *s = store.videoInfoMap.value(k);
        out.append(
            {s->valid, s->signedLatitude(), s->signedLongitude(), s->speed, s->date, s->time});
    }
    return out;
}

bool isPlaceholder(const VideoInfo *s)
{
    return s && !s->valid && s->date == "FFFF:FF:FF" && s->time == "00:00:00" &&
           s->latitude == 0.0 && s->longitude == 0.0 && s->speed == 0.0;
}

} // namespace

class VideoSettingsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir scratch;
    QString settings; // as the window would pass it: under the user's own folder
    QString videos;   // the user's videos

    QString video(const QString &name, const QByteArray &content = "not really a video")
    {
        const QString path = videos + '/' + name;
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            qFatal("cannot write %s", qPrintable(path));
        f.write(content);
        return path;
    }

private slots:
    void initTestCase()
    {
        // File-name times are local: this run's local time is UTC.
        qputenv("TZ", "UTC");
        tzset();
        QVERIFY(scratch.isValid());
        settings = scratch.filePath("home/Documents/velomar_x/videos");
        videos = scratch.filePath("card/DCIM");
        QVERIFY(QDir().mkpath(videos));
    }

    // ---- the offset --------------------------------------------------------

    void offsetKeptAcrossRestart()
    {
        const QString clip = video("FILE0001.MP4");
        const QStringList before = listing(videos);
        {
            VideoSettings s(settings);
            QCOMPARE(s.folder(), settings);
            QCOMPARE(s.offset(clip), 0);
            QVERIFY(!QFileInfo::exists(settings)); // nothing made by reading
            QVERIFY(s.setOffset(clip, 7));
            QCOMPARE(s.offset(clip), 7);
        }
        // A new instance, as after a restart.
        VideoSettings again(settings);
        QCOMPARE(again.offset(clip), 7);
        // The same file by another path: through a link, and relative.
        QVERIFY(QFile::link(clip, scratch.filePath("link.MP4")));
        QCOMPARE(again.offset(scratch.filePath("link.MP4")), 7);
        QCOMPARE(again.offset(videos + "/../DCIM/./FILE0001.MP4"), 7);
        // The folder is private, the file where it belongs, nothing beside
        // the video.
        QCOMPARE(modeOf(settings), 0700);
        QVERIFY(QFileInfo(settings + '/' + again.key(clip) + ".json").isFile());
        QCOMPARE(listing(videos), before);
        // Back to 0: nothing left to keep.
        QVERIFY(again.setOffset(clip, 0));
        QCOMPARE(again.offset(clip), 0);
        QVERIFY(!QFileInfo::exists(settings + '/' + again.key(clip) + ".json"));
    }

    void offsetBounded()
    {
        const QString clip = video("FILE0002.MP4");
        VideoSettings s(settings);
        QVERIFY(s.setOffset(clip, -120));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("refused an offset"));
        QVERIFY(!s.setOffset(clip, VideoSettings::maxOffset + 1));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("refused an offset"));
        QVERIFY(!s.setOffset(clip, -VideoSettings::maxOffset - 1));
        QCOMPARE(s.offset(clip), -120); // a refused offset changes nothing
        QVERIFY(s.setOffset(clip, VideoSettings::maxOffset));
        QCOMPARE(s.offset(clip), VideoSettings::maxOffset);
        QVERIFY(s.setOffset(clip, -VideoSettings::maxOffset));
        QCOMPARE(s.offset(clip), -VideoSettings::maxOffset);
        // A video that is not there has no settings.
        QVERIFY(!s.setOffset(videos + "/missing.MP4", 3));
        QCOMPARE(s.offset(videos + "/missing.MP4"), 0);
        QVERIFY(s.setOffset(clip, 0));
    }

    void reusedNameStartsAfresh()
    {
        // A camera names the clips of a freshly formatted card as before.
        const QString clip = video("FILE0003.MP4", "first clip");
        VideoSettings s(settings);
        const QString key = s.key(clip);
        QVERIFY(s.setOffset(clip, 9));
        video("FILE0003.MP4", "another clip, longer");
        QVERIFY(s.key(clip) != key);
        QCOMPARE(s.offset(clip), 0);
    }

    void neverBesideTheVideo()
    {
        const QString clip = video("FILE0004.MP4");
        const QStringList before = listing(videos);
        // A caller that passes the video's own folder is refused.
        VideoSettings beside(videos);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("beside the video"));
        QVERIFY(!beside.setOffset(clip, 5));
        QCOMPARE(listing(videos), before);
        // Without a folder nothing is kept anywhere.
        VideoSettings none{QString()};
        QCOMPARE(none.offset(clip), 0);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no folder"));
        QVERIFY(!none.setOffset(clip, 5));
        QCOMPARE(listing(videos), before);
    }

    void offsetShiftsSideFileTrack()
    {
        const QString folder = scratch.filePath("card/side");
        QVERIFY(QDir().mkpath(folder));
        QString error;
        QVERIFY2(trackgen::makeClip(folder + "/clip.MP4", 4, QString(), &error), qPrintable(error));
        QStringList rmc;
        for (const trackgen::Fix &f : trackgen::drive(20))
            rmc << trackgen::rmcLine(f);
        QVERIFY(trackgen::writeText(folder + "/clip.TXT", rmc.join('\n') + '\n'));
        const QStringList before = listing(folder);

        VideoInfoParse plain;
        QCOMPARE(plain.parseFile(folder + "/clip.MP4"), 0);
        QCOMPARE(plain.source, QString("nmea"));
        QCOMPARE(plain.count, 20);
        const QVector<Shown> track = shown(plain);

        VideoSettings s(settings);
        for (int offset : {3, -4, 0, 25}) {
            QVERIFY(s.setOffset(folder + "/clip.MP4", offset));
            VideoInfoParse store;
            store.settingsDir = settings;
            QCOMPARE(store.parseFile(folder + "/clip.MP4"), 0);
            QCOMPARE(store.source, QString("nmea"));
            QCOMPARE(store.count, 20);
            // Video second k shows the track's second k - offset.
            for (int k = 0; k < 20; ++k) {
                const VideoInfo *sample = store.videoInfoMap.value(k);
                const int from = k - offset;
                if (from >= 0 && from < 20)
                    QVERIFY2(shown(store)[k] == track[from],
                             qPrintable(QString("offset %1, second %2").arg(offset).arg(k)));
                else
                    QVERIFY2(isPlaceholder(sample),
                             qPrintable(QString("offset %1, second %2").arg(offset).arg(k)));
            }
            // The summaries stay the track's.
            QCOMPARE(store.maxSpeed, plain.maxSpeed);
            QCOMPARE(store.avgSpeed, plain.avgSpeed);
            QCOMPARE(store.totalDistance, plain.totalDistance);
            QCOMPARE(store.isParsed, 1);
        }
        // A caller that sets no folder reads the track as ever.
        VideoInfoParse unset;
        QCOMPARE(unset.parseFile(folder + "/clip.MP4"), 0);
        QVERIFY(shown(unset) == track);
        QCOMPARE(listing(folder), before);
        QVERIFY(s.setOffset(folder + "/clip.MP4", 0));
    }

    // ---- imported tracks ---------------------------------------------------

    void importedTrackPlacedByTime_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("format");
        QTest::addColumn<double>("speed"); // km/h; NaN: from the positions
        QTest::addColumn<double>("tolerance");
        QTest::newRow("gpx") << "gpx"
                             << "gpx" << 45.0 << 1e-9;
        // GPX 1.0 has no <speed> in routes.
        QTest::newRow("gpx 1.0 route") << "gpx-route"
                                       << "gpx" << double(NAN) << 1e-9;
        QTest::newRow("kml gx:Track") << "kml-track"
                                      << "kml" << double(NAN) << 1e-9;
        QTest::newRow("kml placemarks") << "kml-points"
                                        << "kml" << double(NAN) << 1e-9;
        QTest::newRow("csv (gpsbabel)") << "unicsv"
                                        << "csv" << 45.0 << 1e-9;
        QTest::newRow("csv by hand") << "csv-hand"
                                     << "csv" << 45.0 << 1e-9;
        QTest::newRow("nmea") << "nmea"
                              << "nmea" << 24.30 * 1.852 << 1e-9;
    }

    void importedTrackPlacedByTime()
    {
        QFETCH(QString, kind);
        QFETCH(QString, format);
        QFETCH(double, speed);
        QFETCH(double, tolerance);
        QVERIFY2(!QStandardPaths::findExecutable("gpsbabel").isEmpty(),
                 "gpsbabel is missing (bash scripts/install-deps.sh)");

        const QString folder = scratch.filePath("card/" + kind);
        const QString phone = scratch.filePath("phone/" + kind);
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(QDir().mkpath(phone));
        const QString clip = folder + "/VID_0001.MP4";
        QVERIFY(trackgen::makeClipRecordedAt(clip, 10, recorded));
        const QString gpx = phone + "/drive.gpx";
        QVERIFY(trackgen::writeText(gpx, phoneGpx()));

        // Named so that only the content can tell what each file is.
        QString file = phone + "/export.dat";
        if (kind == "gpx") {
            file = gpx;
        } else if (kind == "gpx-route") {
            QVERIFY(gpsbabel({"-t", "-i", "gpx", "-f", gpx, "-x", "transform,rte=trk", "-o",
                              "gpx,gpxver=1.0", "-F", file}));
        } else if (kind == "kml-track") {
            // Both a gx:Track and a Placemark a point: each read once.
            QVERIFY(gpsbabel({"-i", "gpx", "-f", gpx, "-o", "kml,track=1", "-F", file}));
        } else if (kind == "kml-points") {
            QVERIFY(gpsbabel({"-i", "gpx", "-f", gpx, "-o", "kml", "-F", file}));
        } else if (kind == "unicsv") {
            QVERIFY(gpsbabel({"-t", "-i", "gpx", "-f", gpx, "-o", "unicsv", "-F", file}));
        } else if (kind == "nmea") {
            QVERIFY(gpsbabel({"-i", "gpx", "-f", gpx, "-o", "nmea", "-F", file}));
        } else if (kind == "csv-hand") {
            // Semicolons and decimal commas, local times with their zone.
            QString csv = "# exported by a phone app\n"
                          "Timestamp;Lat;Lng;Speed (km/h);Elevation (m)\n";
            for (int i = 19; i >= -5; --i) // newest first
                csv += QStringLiteral("%1;%2;%3;45,0;%4\n")
                           .arg(recorded.addMSecs(i * 1000 + 500)
                                    .toOffsetFromUtc(7200)
                                    .toString(Qt::ISODateWithMs))
                           .arg(QString::number(latAt(i), 'f', 7).replace('.', ','))
                           .arg(QString::number(lonAt(i), 'f', 7).replace('.', ','))
                           .arg(QString::number(altAt(i), 'f', 1).replace('.', ','));
            QVERIFY(trackgen::writeText(file, csv));
        }
        QCOMPARE(trackimport::formatName(trackimport::detect(file)), format);
        const QStringList videoFolder = listing(folder);
        const QByteArray original = trackgen::readText(file).toUtf8();

        VideoSettings s(settings);
        QVERIFY(!s.hasImportedTrack(clip));
        QString error;
        QVERIFY2(s.importTrack(clip, file, &error), qPrintable(error));
        QVERIFY(s.hasImportedTrack(clip));
        QCOMPARE(s.importedTrackOrigin(clip), file);
        QVERIFY(QFileInfo(settings + '/' + s.key(clip) + ".csv").isFile());

        VideoInfoParse store;
        store.settingsDir = settings;
        QCOMPARE(store.parseFile(clip), 0);
        QCOMPARE(store.source, QString("import"));
        QCOMPARE(store.clock, QString("utc"));
        QCOMPARE(store.count, 10);
        for (int k = 0; k < 10; ++k) {
            const VideoInfo *p = store.videoInfoMap.value(k);
            const QString at = QString("second %1").arg(k);
            QVERIFY2(p && p->valid, qPrintable(at));
            // Second k lies halfway between the points at k - 0.5 and k + 0.5.
            QVERIFY2(std::abs(p->signedLatitude() - latAt(k - 0.5)) < tolerance, qPrintable(at));
            QVERIFY2(std::abs(p->signedLongitude() - lonAt(k - 0.5)) < tolerance, qPrintable(at));
            QVERIFY2(std::abs(p->altitude - altAt(k - 0.5)) < 1e-6, qPrintable(at));
            if (std::isnan(speed) && k == 0) // no second before it to measure from
                QCOMPARE(p->speed, 0.0);
            else if (std::isnan(speed)) // 11.1 m north and 14.9 m east each second
                QVERIFY2(std::abs(p->speed - 66.9) < 0.5, qPrintable(QString::number(p->speed)));
            else
                QVERIFY2(std::abs(p->speed - speed) < 1e-6, qPrintable(QString::number(p->speed)));
            QCOMPARE(p->date, QString("2023:05:14"));
            QCOMPARE(p->time, recorded.addSecs(k).time().toString("hh:mm:ss"));
        }
        // Nothing beside the video, the imported file untouched.
        QCOMPARE(listing(folder), videoFolder);
        QCOMPARE(trackgen::readText(file).toUtf8(), original);
        // Kept: read again after a restart even with the original gone.
        QVERIFY(QFile::remove(file));
        VideoInfoParse again;
        again.settingsDir = settings;
        QCOMPARE(again.parseFile(clip), 0);
        QCOMPARE(again.source, QString("import"));
        QVERIFY(shown(again) == shown(store));
    }

    void importBeatsSideFileUntilCleared()
    {
        const QString folder = scratch.filePath("card/both");
        QVERIFY(QDir().mkpath(folder));
        const QString clip = folder + "/clip.MP4";
        QVERIFY(trackgen::makeClipRecordedAt(clip, 10, recorded));
        QStringList rmc;
        for (const trackgen::Fix &f : trackgen::drive(10))
            rmc << trackgen::rmcLine(f);
        QVERIFY(trackgen::writeText(folder + "/clip.TXT", rmc.join('\n') + '\n'));
        const QString gpx = scratch.filePath("phone/both.gpx");
        QVERIFY(trackgen::writeText(gpx, phoneGpx()));
        const QStringList before = listing(folder);

        VideoInfoParse store;
        store.settingsDir = settings;
        QCOMPARE(store.parseFile(clip), 0);
        QCOMPARE(store.source, QString("nmea"));

        VideoSettings s(settings);
        QString error;
        QVERIFY2(s.importTrack(clip, gpx, &error), qPrintable(error));
        QCOMPARE(store.parseFile(clip), 0);
        QCOMPARE(store.source, QString("import"));
        QVERIFY(std::abs(store.videoInfoMap.value(3)->signedLatitude() - latAt(2.5)) < 1e-9);

        // With an offset the track is laid that much later: the seconds at
        // the start still hold the phone's points from before the clip.
        QVERIFY(s.setOffset(clip, 2));
        QCOMPARE(store.parseFile(clip), 0);
        QCOMPARE(store.source, QString("import"));
        QCOMPARE(store.count, 10);
        for (int k = 0; k < 10; ++k) {
            const VideoInfo *p = store.videoInfoMap.value(k);
            QVERIFY(p->valid);
            QVERIFY(std::abs(p->signedLatitude() - latAt(k - 2 - 0.5)) < 1e-9);
            QCOMPARE(p->time, recorded.addSecs(k - 2).time().toString("hh:mm:ss"));
        }
        QVERIFY(s.setOffset(clip, 0));

        // A caller without the folder sees the camera's track.
        VideoInfoParse unset;
        QCOMPARE(unset.parseFile(clip), 0);
        QCOMPARE(unset.source, QString("nmea"));

        QVERIFY(s.clearImportedTrack(clip));
        QVERIFY(!s.hasImportedTrack(clip));
        QVERIFY(s.importedTrackOrigin(clip).isEmpty());
        QVERIFY(!QFileInfo::exists(settings + '/' + s.key(clip) + ".csv"));
        QVERIFY(!QFileInfo::exists(settings + '/' + s.key(clip) + ".json"));
        QVERIFY(s.clearImportedTrack(clip)); // nothing to clear
        QCOMPARE(store.parseFile(clip), 0);
        QCOMPARE(store.source, QString("nmea"));
        QCOMPARE(listing(folder), before);
    }

    void importThatDoesNotFitFallsBack()
    {
        // A track that the offset moves off the clip: the camera's is shown.
        const QString folder = scratch.filePath("card/fallback");
        QVERIFY(QDir().mkpath(folder));
        const QString clip = folder + "/clip.MP4";
        QVERIFY(trackgen::makeClipRecordedAt(clip, 5, recorded));
        QVERIFY(trackgen::writeText(folder + "/clip.TXT", twoConvertedFixes().join('\n') + '\n'));
        const QString gpx = scratch.filePath("phone/fallback.gpx");
        QVERIFY(trackgen::writeText(gpx, phoneGpx()));
        VideoSettings s(settings);
        QVERIFY(s.importTrack(clip, gpx));
        QVERIFY(s.setOffset(clip, 3600));
        VideoInfoParse store;
        store.settingsDir = settings;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("imported track .* not used"));
        QCOMPARE(store.parseFile(clip), 0);
        QCOMPARE(store.source, QString("nmea"));
        QVERIFY(s.clearImportedTrack(clip));
        QVERIFY(s.setOffset(clip, 0));
    }

    void importRefused_data()
    {
        QTest::addColumn<QString>("content");
        QTest::addColumn<QString>("message");
        QTest::newRow("no track") << "hello\nworld\n"
                                  << "not a track file";
        QTest::newRow("empty") << ""
                               << "not a track file";
        QTest::newRow("gpx without times")
            << "<gpx version=\"1.1\"><trk><trkseg><trkpt lat=\"1\" lon=\"2\"/></trkseg></trk></gpx>"
            << "no point with a date and time";
        QTest::newRow("broken gpx") << phoneGpx().left(700) + "<trkpt lat=\"1\"></gpx>"
                                    << "at line";
        QTest::newRow("csv bad time") << "time,lat,lon\n"
                                         "2023-05-14T12:00:00Z,48,11\n"
                                         "yesterday,48,11\n"
                                      << "line 3: no date and time";
        QTest::newRow("csv time of day only") << "time,lat,lon\n12:00:00,48,11\n"
                                              << "line 2: no date and time";
        QTest::newRow("csv bad latitude") << "date,time,latitude,longitude\n"
                                             "\n"
                                             "2023-05-14,12:00:00,north,11\n"
                                          << "line 3: no position";
        QTest::newRow("csv out of range") << "time;lat;lon\n2023-05-14 12:00:00;91;11\n"
                                          << "line 2: no position";
        QTest::newRow("csv short row") << "time,lat,lon,speed\n2023-05-14 12:00:00,48\n"
                                       << "line 2: 2 fields where the header has 4";
        QTest::newRow("kml uneven track")
            << "<kml xmlns:gx=\"http://www.google.com/kml/ext/2.2\"><Placemark><gx:Track>\n"
               "<when>2023-05-14T12:00:00Z</when>\n<when>2023-05-14T12:00:01Z</when>\n"
               "<gx:coord>11 48 0</gx:coord>\n</gx:Track></Placemark></kml>\n"
            << "line 5: the track has 2 times and 1 positions";
        QTest::newRow("kml bad coordinate")
            << "<kml><Placemark><TimeStamp><when>2023-05-14T12:00:00Z</when></TimeStamp>\n"
               "<Point><coordinates>east,48</coordinates></Point></Placemark></kml>\n"
            << "line 2: no position";
        QTest::newRow("kml without times")
            << "<kml><Placemark><Point><coordinates>11,48</coordinates></Point></Placemark></kml>"
            << "no point with a date and time";
        QTest::newRow("nmea without fix")
            << "$GPRMC,120000.000,V,,,,,,,140523,,*" +
                   trackgen::nmeaChecksum("GPRMC,120000.000,V,,,,,,,140523,,") + "\n"
            << "no $GPRMC sentence with a fix";
        QTest::newRow("nmea bad checksums")
            << "$GPRMC,120000.500,A,4800.000,N,01100.000,E,24.30,0.00,140523,,*00\n"
            << "line 1 is no complete sentence or fails its checksum";
        QTest::newRow("nmea without dates")
            << "$GPRMC,120000.500,A,4800.000,N,01100.000,E,24.30,0.00,,,*" +
                   trackgen::nmeaChecksum(
                       "GPRMC,120000.500,A,4800.000,N,01100.000,E,24.30,0.00,,,") +
                   "\n"
            << "no date";
        QTest::newRow("a year before the clip")
            << phoneGpx(-5, 19, recorded.addYears(-1)) << "covers no second of the video";
        // Near enough for an offset to reach, but nothing would show it.
        QTest::newRow("an hour after the clip")
            << phoneGpx(-5, 19, recorded.addSecs(3600)) << "covers no second of the video";
    }

    void importRefused()
    {
        QFETCH(QString, content);
        QFETCH(QString, message);
        const QString folder = scratch.filePath("card/refused");
        QVERIFY(QDir().mkpath(folder));
        const QString clip = folder + "/clip.MP4";
        if (!QFileInfo::exists(clip))
            QVERIFY(trackgen::makeClipRecordedAt(clip, 3, recorded));
        const QString file = scratch.filePath("phone/refused.txt");
        QVERIFY(trackgen::writeText(file, content));
        VideoSettings s(settings);
        QString error;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("."));
        QVERIFY(!s.importTrack(clip, file, &error));
        QVERIFY2(error.contains(message), qPrintable(error));
        QVERIFY(!s.hasImportedTrack(clip));
    }

    // The refusal says both time ranges, and keeps nothing.
    void importOutsideTheClipSaysBothRanges()
    {
        const QString folder = scratch.filePath("card/outside");
        QVERIFY(QDir().mkpath(folder));
        const QString clip = folder + "/clip.MP4";
        QVERIFY(trackgen::makeClipRecordedAt(clip, 4, recorded));
        const QString gpx = scratch.filePath("phone/outside.gpx");
        QVERIFY(trackgen::writeText(gpx, phoneGpx(0, 9, recorded.addSecs(7200))));
        VideoSettings s(settings);
        QString error;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("covers no second"));
        QVERIFY(!s.importTrack(clip, gpx, &error));
        const QString utc = "yyyy-MM-dd hh:mm:ss";
        const QDateTime start = recorded.toUTC();
        QCOMPARE(error, QStringLiteral("the track (%1 to %2 UTC) covers no second of the video "
                                       "(%3 to %4 UTC)")
                            .arg(start.addMSecs(7200500).toString(utc),
                                 start.addMSecs(7209500).toString(utc), start.toString(utc),
                                 start.addSecs(4).toString(utc)));
        QVERIFY(!s.hasImportedTrack(clip));
        QVERIFY(!QFileInfo::exists(settings + '/' + s.key(clip) + ".json"));
    }

    void importNeedsARecordingTime()
    {
        const QString folder = scratch.filePath("card/untimed");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(trackgen::makeClip(folder + "/clip.MP4", 2));
        const QString gpx = scratch.filePath("phone/untimed.gpx");
        QVERIFY(trackgen::writeText(gpx, phoneGpx()));
        VideoSettings s(settings);
        QString error;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no recording time"));
        QVERIFY(!s.importTrack(folder + "/clip.MP4", gpx, &error));
        QVERIFY2(error.contains("no recording time"), qPrintable(error));
    }

    // ---- hostile settings --------------------------------------------------

    void hostileSettingsIgnored()
    {
        const QString clip = video("FILE0010.MP4");
        VideoSettings s(settings);
        QVERIFY(s.setOffset(clip, 1)); // makes the folder
        const QString json = settings + '/' + s.key(clip) + ".json";
        auto put = [&](const QByteArray &bytes) {
            QFile::remove(json);
            QFile f(json);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(bytes);
        };
        const QByteArray owner = QStringLiteral("\"video\": \"%1\", \"size\": %2, \"version\": 1")
                                     .arg(QFileInfo(clip).canonicalFilePath())
                                     .arg(QFileInfo(clip).size())
                                     .toUtf8();

        put("{\"offset\": 5, " + owner + "}");
        QCOMPARE(s.offset(clip), 5); // the form itself is read

        put(QByteArray("\x00\xff garbage {{{", 14));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ignored .*json"));
        QCOMPARE(s.offset(clip), 0);
        put("[1, 2, 3]");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no object"));
        QCOMPARE(s.offset(clip), 0);
        put("{\"offset\": 1e12, " + owner + "}");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ignored the offset"));
        QCOMPARE(s.offset(clip), 0);
        put("{\"offset\": 2.5, " + owner + "}");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ignored the offset"));
        QCOMPARE(s.offset(clip), 0);
        put("{\"offset\": \"5\", " + owner + "}");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ignored the offset"));
        QCOMPARE(s.offset(clip), 0);
        put("{\"offset\": 5, \"video\": \"/elsewhere.MP4\", \"size\": 1, \"version\": 1}");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("not of this version or not of"));
        QCOMPARE(s.offset(clip), 0);
        put(QByteArray(2000, '[') + QByteArray(2000, ']'));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("ignored"));
        QCOMPARE(s.offset(clip), 0);

        // Huge: refused by its size, unread.
        {
            QFile::remove(json);
            QFile f(json);
            QVERIFY(f.open(QIODevice::WriteOnly));
            QVERIFY(f.resize(qint64(2) << 30)); // sparse
        }
        QElapsedTimer timer;
        timer.start();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("bytes, more than"));
        QCOMPARE(s.offset(clip), 0);
        QVERIFY(timer.elapsed() < 1000);
        QVERIFY(s.setOffset(clip, 4)); // replaced by a good one
        QCOMPARE(s.offset(clip), 4);

        // A link to elsewhere, even to settings that would fit: not followed
        // when read, and replaced, not written through, when written.
        const QString elsewhere = scratch.filePath("elsewhere.json");
        const QByteArray planted = "{\"offset\": 99, " + owner + "}";
        {
            QFile f(elsewhere);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(planted);
        }
        QFile::remove(json);
        QVERIFY(QFile::link(elsewhere, json));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("symbolic link"));
        QCOMPARE(s.offset(clip), 0);
        QVERIFY(s.setOffset(clip, 6));
        QCOMPARE(s.offset(clip), 6);
        QVERIFY(!QFileInfo(json).isSymLink());
        QCOMPARE(trackgen::readText(elsewhere).toUtf8(), planted);

        // A folder and a pipe in its place: neither read nor blocking.
        QFile::remove(json);
        QVERIFY(QDir().mkdir(json));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("not a regular file"));
        QCOMPARE(s.offset(clip), 0);
        QVERIFY(QDir().rmdir(json));
        QCOMPARE(::mkfifo(QFile::encodeName(json).constData(), 0600), 0);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("not a regular file"));
        QCOMPARE(s.offset(clip), 0);
        QVERIFY(s.setOffset(clip, 0));
        QFile::remove(json);
    }

    void hostileTrackCopyIgnored()
    {
        const QString folder = scratch.filePath("card/hostile");
        QVERIFY(QDir().mkpath(folder));
        const QString clip = folder + "/clip.MP4";
        QVERIFY(trackgen::makeClipRecordedAt(clip, 4, recorded));
        QVERIFY(trackgen::writeText(folder + "/clip.TXT", twoConvertedFixes().join('\n') + '\n'));
        const QString gpx = scratch.filePath("phone/hostile.gpx");
        QVERIFY(trackgen::writeText(gpx, phoneGpx()));
        VideoSettings s(settings);
        QVERIFY(s.importTrack(clip, gpx));
        const QString csv = settings + '/' + s.key(clip) + ".csv";
        const QByteArray good = trackgen::readText(csv).toUtf8();
        QVERIFY(good.startsWith("utc_ms,latitude,longitude,speed_kmh,altitude\n"));

        VideoInfoParse store;
        store.settingsDir = settings;
        auto expectFallback = [&](const char *why) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(why));
            QCOMPARE(store.parseFile(clip), 0);
            QCOMPARE(store.source, QString("nmea"));
        };
        auto put = [&](const QByteArray &bytes) {
            QFile::remove(csv);
            QFile f(csv);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(bytes);
        };
        put("garbage\n1,2,3\n");
        expectFallback("line 1 is not its header");
        QList<QByteArray> lines = good.split('\n');
        std::swap(lines[2], lines[5]); // times out of order
        put(lines.join('\n'));
        expectFallback("line 4 is not a point");
        put(good + "1684065600000,91,11,,\n");
        expectFallback("is not a point");
        put(good + QByteArray(100000, '9') + "\n");
        expectFallback("too long");
        put(good + "1684065600000,nan,11,,\n");
        expectFallback("is not a point");

        // A link to a good copy elsewhere is no imported track.
        const QString elsewhere = scratch.filePath("elsewhere.csv");
        {
            QFile f(elsewhere);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(good);
        }
        QFile::remove(csv);
        QVERIFY(QFile::link(elsewhere, csv));
        QVERIFY(!s.hasImportedTrack(clip));
        QCOMPARE(store.parseFile(clip), 0);
        QCOMPARE(store.source, QString("nmea"));
        // Cleared: the link goes, what it points to stays.
        QVERIFY(s.clearImportedTrack(clip));
        QVERIFY(!QFileInfo(csv).isSymLink());
        QCOMPARE(trackgen::readText(elsewhere).toUtf8(), good);

        // The good copy, put back, is used again.
        put(good);
        QCOMPARE(store.parseFile(clip), 0);
        QCOMPARE(store.source, QString("import"));
        QVERIFY(s.clearImportedTrack(clip));
    }

    // ---- reading other devices' files -------------------------------------

    void times_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("local");
        QTest::addColumn<QDateTime>("expected");
        const QDateTime noon = recorded;
        QTest::newRow("iso utc") << "2023-05-14T12:00:00Z" << false << noon;
        QTest::newRow("iso ms") << "2023-05-14T12:00:00.250Z" << false << noon.addMSecs(250);
        QTest::newRow("iso zone") << "2023-05-14T14:00:00+02:00" << false << noon;
        QTest::newRow("no zone: utc") << "2023-05-14T12:00:00" << false << noon;
        QTest::newRow("space") << "2023-05-14 12:00:00" << false << noon;
        QTest::newRow("slashes") << "2023/05/14 12:00:00.500" << false << noon.addMSecs(500);
        QTest::newRow("utc word") << "2023-05-14 12:00:00 UTC" << false << noon;
        QTest::newRow("quoted") << "\"2023-05-14 12:00:00\"" << false << noon;
        QTest::newRow("local (TZ is UTC)") << "2023-05-14 12:00:00" << true << noon;
        QTest::newRow("date alone") << "2023-05-14" << false << QDateTime();
        QTest::newRow("time alone") << "12:00:00" << false << QDateTime();
        QTest::newRow("words") << "yesterday at noon" << false << QDateTime();
        QTest::newRow("bad month") << "2023-13-14 12:00:00" << false << QDateTime();
    }

    void times()
    {
        QFETCH(QString, text);
        QFETCH(bool, local);
        QFETCH(QDateTime, expected);
        const QDateTime t = trackimport::parseTime(text, local);
        QCOMPARE(t.isValid(), expected.isValid());
        if (expected.isValid())
            QCOMPARE(t.toMSecsSinceEpoch(), expected.toMSecsSinceEpoch());
    }

    void csvColumns()
    {
        Scratch s;
        // Separate date and time columns, quoted fields, a knot speed, an
        // altitude in feet, rows without a fix skipped.
        const QString file = s.lines(
            "log.txt", {"\"Date\",\"Time (UTC)\",\"Latitude\",\"Longitude\",\"Speed (knots)\","
                        "\"Altitude (ft)\",\"Note\"",
                        "2023-05-14,12:00:01,-33.5,-70.25,10,1000,\"a, b\"",
                        "2023-05-14,12:00:02,,,,,no fix", "2023-05-14,12:00:00,-33.4,-70.2,,,"});
        QVector<standardgpx::Point> points;
        QString error;
        trackimport::Format format;
        QVERIFY2(trackimport::read(file, points, &error, &format), qPrintable(error));
        QCOMPARE(format, trackimport::Format::Csv);
        QCOMPARE(points.size(), 2);
        QCOMPARE(points[0].time, recorded); // in time order
        QCOMPARE(points[0].latitude, -33.4);
        QVERIFY(std::isnan(points[0].speedKmh));
        QVERIFY(std::isnan(points[0].altitude));
        QCOMPARE(points[1].longitude, -70.25);
        QVERIFY(std::abs(points[1].speedKmh - 18.52) < 1e-9);
        QVERIFY(std::abs(points[1].altitude - 304.8) < 1e-9);
    }

    void csvUnixTimes()
    {
        Scratch s;
        const QString file = s.lines("log.csv", {"timestamp,lat,lon", "1684065600500,48,11",
                                                 "1684065601,48.1,11", "1684065602.25,48.2,11"});
        QVector<standardgpx::Point> points;
        QString error;
        QVERIFY2(trackimport::read(file, points, &error), qPrintable(error));
        QCOMPARE(points.size(), 3);
        QCOMPARE(points[0].time, recorded.addMSecs(500));
        QCOMPARE(points[1].time, recorded.addSecs(1));
        QCOMPARE(points[2].time, recorded.addMSecs(2250));
        // A figure that is no time of this era is refused, not guessed.
        const QString odd = s.lines("odd.csv", {"time,lat,lon", "123456,48,11"});
        QVERIFY(!trackimport::read(odd, points, &error));
        QVERIFY2(error.contains("line 2: no date and time"), qPrintable(error));
    }

    void kmlPlacemarks()
    {
        Scratch s;
        // The view's time (LookAt) and a span are no time of the point.
        const QString file = s.bytes(
            "places.xml",
            "<?xml version=\"1.0\"?>\n<!-- saved by a map program -->\n"
            "<kml:kml xmlns:kml=\"http://www.opengis.net/kml/2.2\" "
            "xmlns:gx=\"http://www.google.com/kml/ext/2.2\"><kml:Document>\n"
            "<kml:Placemark><kml:LookAt><gx:TimeStamp><kml:when>1999-01-01T00:00:00Z</kml:when>"
            "</gx:TimeStamp></kml:LookAt>\n"
            "<kml:TimeStamp><kml:when>2023-05-14T12:00:01Z</kml:when></kml:TimeStamp>"
            "<kml:Point><kml:coordinates> 11.5,48.5,200 </kml:coordinates></kml:Point>"
            "</kml:Placemark>\n"
            "<kml:Placemark><kml:TimeSpan><kml:when>2023-05-14T12:00:02Z</kml:when>"
            "</kml:TimeSpan><kml:Point><kml:coordinates>11,48</kml:coordinates></kml:Point>"
            "</kml:Placemark>\n"
            "<kml:Placemark><kml:TimeStamp><kml:when>2023-05-14T12:00:00Z</kml:when>"
            "</kml:TimeStamp><kml:Point><kml:coordinates>11.4,48.4</kml:coordinates>"
            "</kml:Point></kml:Placemark>\n"
            "</kml:Document></kml:kml>\n");
        QCOMPARE(trackimport::detect(file), trackimport::Format::Kml);
        QVector<standardgpx::Point> points;
        QString error;
        QVERIFY2(trackimport::read(file, points, &error), qPrintable(error));
        QCOMPARE(points.size(), 2);
        QCOMPARE(points[0].time, recorded);
        QCOMPARE(points[0].latitude, 48.4);
        QVERIFY(std::isnan(points[0].altitude));
        QCOMPARE(points[1].time, recorded.addSecs(1));
        QCOMPARE(points[1].longitude, 11.5);
        QCOMPARE(points[1].altitude, 200.0);
    }

    void nmeaSentences()
    {
        Scratch s;
        auto sentence = [](const QString &body) {
            return '$' + body + '*' + trackgen::nmeaChecksum(body.toLatin1());
        };
        // GNSS talkers, GGA before and after its RMC, a line with a bad sum,
        // a log across midnight, text before a sentence.
        const QString file =
            s.lines("drive.csv",
                    {sentence("GNGGA,235959.000,4800.000,N,01100.000,E,1,08,0.9,500.0,M,0.0,M,,"),
                     sentence("GNRMC,235959.000,A,4800.000,N,01100.000,E,10.0,0.0,130523,,,A"),
                     "$GPRMC,000000.000,A,4800.006,N,01100.012,E,10.0,0.0,140523,,,A*00",
                     "2023-05-14 00:00:01 " +
                         sentence("GPRMC,000001.000,A,4800.012,N,01100.024,W,10.0,0.0,140523,,,A"),
                     sentence("GPGGA,000001.000,4800.012,N,01100.024,W,1,08,0.9,510.5,M,0.0,M,,"),
                     sentence("GPVTG,0.0,T,,M,10.0,N,18.5,K,A")});
        QVector<standardgpx::Point> points;
        QString error;
        trackimport::Format format;
        QVERIFY2(trackimport::read(file, points, &error, &format), qPrintable(error));
        QCOMPARE(format, trackimport::Format::Nmea);
        QCOMPARE(points.size(), 2);
        QCOMPARE(points[0].time, recorded.addSecs(-12 * 3600 - 1));
        QCOMPARE(points[0].altitude, 500.0);
        QCOMPARE(points[1].time, recorded.addSecs(-12 * 3600 + 1));
        QCOMPARE(points[1].altitude, 510.5);
        QVERIFY(points[1].longitude < 0);
        QVERIFY(std::abs(points[0].speedKmh - 18.52) < 1e-9);
    }

    void mutatedFilesRefusedOrRead()
    {
        // Each kind of file, cut and with bytes changed at random: read or
        // refused, never a crash (run under the sanitizers too).
        Scratch s;
        const QString gpx = phoneGpx(-2, 6);
        QString kml = "<kml xmlns:gx=\"http://www.google.com/kml/ext/2.2\"><Placemark><gx:Track>\n";
        QString kmlCoords, nmea, csv = "time;lat;lng;speed;alt\n";
        for (int i = 0; i < 8; ++i) {
            const QString t = recorded.addSecs(i).toString(Qt::ISODate);
            kml += "<when>" + t + "</when>\n";
            kmlCoords += QStringLiteral("<gx:coord>%1 %2 %3</gx:coord>\n")
                             .arg(lonAt(i))
                             .arg(latAt(i))
                             .arg(altAt(i));
            csv += QStringLiteral("%1;%2;%3;12,5;%4\n").arg(t).arg(latAt(i)).arg(lonAt(i)).arg(i);
            const QString body =
                QStringLiteral("GPRMC,1200%1.000,A,4800.%2,N,01100.000,E,24.30,0.00,140523,,")
                    .arg(i, 2, 10, QChar('0'))
                    .arg(i * 6, 3, 10, QChar('0'));
            nmea += '$' + body + '*' + trackgen::nmeaChecksum(body.toLatin1()) + "\n";
        }
        kml += kmlCoords + "</gx:Track></Placemark></kml>\n";
        QRandomGenerator random(20230514);
        const char noise[] = "<>/\"=,;.$*\n 0123456789-:TZ\xff\x00";
        for (const QString &text : {gpx, kml, csv, nmea}) {
            const QByteArray original = text.toUtf8();
            QVector<standardgpx::Point> points;
            QVERIFY(trackimport::read(s.bytes("sample", original), points));
            for (int round = 0; round < 300; ++round) {
                QByteArray bytes = original.left(int(random.bounded(original.size() + 1)));
                const int changes = int(random.bounded(8));
                for (int c = 0; c < changes && !bytes.isEmpty(); ++c)
                    bytes[int(random.bounded(bytes.size()))] =
                        noise[random.bounded(int(sizeof noise - 1))];
                QString error;
                if (!trackimport::read(s.bytes("mutated", bytes), points, &error))
                    QVERIFY(!error.isEmpty() && points.isEmpty());
                for (const standardgpx::Point &p : qAsConst(points))
                    QVERIFY(p.time.isValid() && std::abs(p.latitude) <= 90 &&
                            std::abs(p.longitude) <= 180);
            }
        }
    }

    void bounded()
    {
        Scratch s;
        // Over the file limit: refused by its size, unread.
        const QString big = s.path("big.csv");
        {
            QFile f(big);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("time,lat,lon\n");
            QVERIFY(f.resize(tracklimits::maxFileBytes + 1));
        }
        QVector<standardgpx::Point> points;
        QString error;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("refused"));
        QVERIFY(!trackimport::read(big, points, &error));
        QVERIFY2(error.contains("larger than a track file"), qPrintable(error));
        // A deep document.
        const QString deep = s.bytes(
            "deep.kml", "<kml>" + QByteArray(100 * 3, 'x').replace("xxx", "<a>") + "</kml>");
        QVERIFY(!trackimport::read(deep, points, &error));
        QVERIFY2(error.contains("nested too deep"), qPrintable(error));
        // A line far over the limit is no row.
        const QString longLine =
            s.bytes("long.csv", "time,lat,lon\n2023-05-14 12:00:00,48," +
                                    QByteArray(tracklimits::maxLineChars + 10, '1') + "\n");
        QVERIFY(!trackimport::read(longLine, points, &error));
        QVERIFY2(error.contains("line 2 is too long"), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(VideoSettingsTest)
#include "tst_videosettings.moc"
