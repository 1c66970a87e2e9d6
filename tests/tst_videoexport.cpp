// Evidence clips: a stretch of a drive across clips written as one MP4 by
// velomar-export, copied or re-encoded with the dashboard burnt in, its
// track inside as CAMM, read back by velomar-track, exiftool and ffprobe;
// what the dashboard drew checked against the track; bad requests refused in
// one line, and a cancelled export leaving nothing behind.

#include "colours.h"
#include "embedgen.h"
#include "exiftool.h"
#include "moments.h"
#include "readings.h"
#include "testutil.h"
#include "trip.h"
#include "videoexport.h"

#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <cmath>
#include <csignal>

namespace {

constexpr int clipSeconds = 20;
constexpr int fps = 10;

Run exportTool(const QStringList &args)
{
    return run(VELOMAR_EXPORT_TOOL, args);
}

double metres(double lat1, double lon1, double lat2, double lon2)
{
    const double rad = M_PI / 180.0;
    const double x = (lon2 - lon1) * rad * std::cos((lat1 + lat2) / 2 * rad);
    const double y = (lat2 - lat1) * rad;
    return std::sqrt(x * x + y * y) * 6371000.0;
}

// ffprobe's view of a file: its streams and its length.
QJsonObject probe(const QString &path)
{
    const Run r = run(
        "ffprobe", {"-v", "error", "-print_format", "json", "-show_streams", "-show_format", path});
    return QJsonDocument::fromJson(r.out).object();
}

int videoFrames(const QString &path)
{
    const Run r =
        run("ffprobe", {"-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
                        "stream=nb_read_frames", "-of", "csv=p=0", path});
    return r.out.trimmed().toInt();
}

// One decoded picture of a video, at a time in seconds.
QImage frameAt(const QString &path, double seconds, const QString &png)
{
    const Run r = run(trackgen::ffmpegPath(), {"-v", "error", "-y", "-ss", QString::number(seconds),
                                               "-i", path, "-frames:v", "1", png});
    return r.exitCode == 0 ? QImage(png).convertToFormat(QImage::Format_RGB32) : QImage();
}

// The mean difference of two pictures' channels within a rectangle.
double difference(const QImage &a, const QImage &b, const QRect &area)
{
    double sum = 0;
    int n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) +
                   std::abs(qBlue(p) - qBlue(q));
            n += 3;
        }
    return n ? sum / n : 0.0;
}

} // namespace

class VideoExportTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    // 12:00:00 UTC on 2024-05-14; the camera's clock and its file names read
    // two hours later.
    const QVector<trackgen::Fix> route =
        trackgen::drive(3 * clipSeconds, 48.137, 11.575, 12 * 3600);
    QString card;

    QString out(const QString &name) const { return dir.filePath(name); }

    // A dash cam's clip: H.264 with a key frame a second, AAC sound, and the
    // GPS inside in Novatek's layout.
    void makeClip(const QString &path, int first)
    {
        const QString plain = dir.filePath("plain.mp4");
        if (!QFileInfo::exists(plain)) {
            trackgen::CameraClip c;
            c.fps = fps;
            c.seconds = clipSeconds;
            QString error;
            QVERIFY2(trackgen::makeCameraClip(plain, c, &error), qPrintable(error));
        }
        embedgen::Options o;
        o.layout = "novatek";
        o.date = "2024-05-14";
        QString error;
        QVERIFY2(embedgen::write(plain, path, route.mid(first, clipSeconds), o, &error),
                 qPrintable(error));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        qputenv("TZ", "UTC");
        card = dir.filePath("card/DCIM/Movie");
        QVERIFY(QDir().mkpath(card));
        for (int i = 0; i < 3; ++i)
            makeClip(QString("%1/2024_0514_1400%2_000%3F.MP4")
                         .arg(card)
                         .arg(i * clipSeconds, 2, 10, QChar('0'))
                         .arg(i + 1),
                     i * clipSeconds);
    }

    void stretchAcrossThreeClips()
    {
        // 00:15 to 00:45 of the drive: the end of the first clip, all of the
        // second, the start of the third.
        const QString mp4 = out("three.mp4");
        const Run r = exportTool({dir.filePath("card"), "--from", "15", "--to", "45",
                                  "--no-overlay", "--gpx", "-o", mp4});
        QVERIFY2(r.exitCode == 0, r.err.constData());

        const QJsonObject p = probe(mp4);
        const double length = p["format"].toObject()["duration"].toString().toDouble();
        QVERIFY2(std::abs(length - 30.0) <= 1.0 / fps + 0.03, qPrintable(QString::number(length)));
        QCOMPARE(videoFrames(mp4), 30 * fps);
        QStringList kinds;
        for (const QJsonValue &s : p["streams"].toArray())
            kinds << s["codec_type"].toString() + ":" + s["codec_tag_string"].toString();
        QCOMPARE(kinds, QStringList({"video:avc1", "audio:mp4a", "data:camm"}));

        // Decodes from end to end without a complaint.
        const Run decode =
            run(trackgen::ffmpegPath(), {"-v", "error", "-i", mp4, "-f", "null", "-"});
        QCOMPARE(decode.exitCode, 0);
        QCOMPARE(decode.err, QByteArray());

        // The player's own reader finds the track inside, a fix a second,
        // the route's from its 15th second, on UTC.
        const Run dump = run(VELOMAR_TRACK_TOOL, {"dump", mp4});
        QCOMPARE(dump.exitCode, 0);
        const QJsonObject store = QJsonDocument::fromJson(dump.out).object();
        QCOMPARE(store["source"].toString(), QString("camm"));
        const QJsonArray samples = store["samples"].toArray();
        QCOMPARE(samples.size(), 30);
        for (int k = 0; k < samples.size(); ++k) {
            const QJsonObject s = samples[k].toObject();
            const trackgen::Fix &f = route[15 + k];
            const double d = metres(s["latitude"].toDouble(), s["longitude"].toDouble(), f.latitude,
                                    f.longitude);
            QVERIFY2(d < 1.0, qPrintable(QString("second %1 is %2 m off").arg(k).arg(d)));
            QCOMPARE(s["time"].toString(), trackgen::hhmmss(f.secondOfDay, ":"));
            QVERIFY2(std::abs(s["speed"].toDouble() - f.speedKmh) < 0.6,
                     qPrintable(QString("second %1: %2 km/h").arg(k).arg(s["speed"].toDouble())));
        }

        // exiftool, the reference reader, finds the same positions.
        if (exiftool::available()) {
            const QVector<exiftool::Fix> fixes = exiftool::fixes(mp4);
            QCOMPARE(fixes.size(), 30);
            for (int k = 0; k < fixes.size(); ++k)
                QVERIFY(metres(fixes[k].latitude, fixes[k].longitude, route[15 + k].latitude,
                               route[15 + k].longitude) < 1.0);
            // Its times: GPS time as the format counts it, which exiftool
            // turns into a date without taking off the 18 leap seconds.
            const Run times = run("exiftool", {"-ee", "-n", "-s3", "-GPSDateTime", mp4});
            const QStringList lines = QString::fromUtf8(times.out).split('\n', Qt::SkipEmptyParts);
            QCOMPARE(lines.size(), 30);
            for (int k = 0; k < lines.size(); ++k)
                QCOMPARE(lines[k], "2024:05:14 " +
                                       trackgen::hhmmss(route[15 + k].secondOfDay + 18, ":") + "Z");
        }

        // The GPX beside it: the same 30 fixes.
        const QString gpx = trackgen::readText(out("three.gpx"));
        QCOMPARE(gpx.count("<trkpt "), 30);
        QVERIFY(gpx.contains("2024-05-14T12:00:15Z"));
        QVERIFY(gpx.contains("2024-05-14T12:00:44Z"));
    }

    void overlayAcrossThreeClips()
    {
        // The dashboard burnt in, across three clips, cut to the frame.
        const QVector<trip::Drive> drives =
            trip::drives(trip::readMoments(trip::findVideos({card})));
        QCOMPARE(drives.size(), 1);
        videoexport::Stretch stretch;
        QString error;
        QVERIFY2(videoexport::stretchOf(drives[0], 15.5, 45.5, stretch, &error), qPrintable(error));
        videoexport::Options o;
        o.output = out("overlay.mp4");
        o.preset = "fast";
        const videoexport::Result r = videoexport::exportStretch(stretch, o, {});
        QVERIFY2(r.ok, qPrintable(r.error));
        QCOMPARE(r.frames, 30 * fps);
        // x264, unless a hardware encoder passed its test encode here.
        QCOMPARE(r.encoder, videoexport::workingHardwareEncoder().isEmpty()
                                ? QString("libx264")
                                : videoexport::workingHardwareEncoder());
        QCOMPARE(videoFrames(o.output), 30 * fps);
        const double length =
            probe(o.output)["format"].toObject()["duration"].toString().toDouble();
        QVERIFY2(std::abs(length - 30.0) <= 1.0 / fps + 0.03, qPrintable(QString::number(length)));
        const Run decode =
            run(trackgen::ffmpegPath(), {"-v", "error", "-i", o.output, "-f", "null", "-"});
        QCOMPARE(decode.exitCode, 0);
        QCOMPARE(decode.err, QByteArray());

        // What the panel drew, second by second: the camera's clock, the
        // track's speed and position at that second of the drive.
        QCOMPARE(r.drawn.size(), 31); // 15.5 .. 45.5 s touches 31 seconds
        QCOMPARE(r.drawn.first().frame, 0);
        for (int k = 0; k < r.drawn.size(); ++k) {
            const int second = 15 + k; // of the drive
            const trip::Clip &clip = drives[0].clips[second / clipSeconds];
            const VideoInfo *sample = nullptr;
            for (const trip::Point &p : clip.points)
                if (p.second == second % clipSeconds)
                    sample = &p.sample;
            QVERIFY(sample);
            const QStringList texts = r.drawn[k].texts;
            QCOMPARE(texts.size(), 3);
            QCOMPARE(texts[0], QString("2024-05-14 14:00:%1").arg(second, 2, 10, QChar('0')));
            QCOMPARE(texts[1], dashboard::speedText(sample->speed, dashboard::Unit::Kmh));
            QVERIFY(std::abs(sample->speed - route[second].speedKmh) < 0.6);
            QCOMPARE(texts[2], dashboard::coordinatesText(sample->signedLatitude(),
                                                          sample->signedLongitude()));
            // Repainted where the second changes: frame 5 is 16.0 s.
            QCOMPARE(r.drawn[k].frame, k == 0 ? 0 : 5 + (k - 1) * fps);
        }

        // The panel is in the picture, and only there: the bottom-left
        // corner differs from the source, the top right does not.
        const QImage exported = frameAt(o.output, 2.5, out("exported.png"));
        const QImage source =
            frameAt(card + "/2024_0514_140000_0001F.MP4", 18.0, out("source.png"));
        QVERIFY(!exported.isNull() && exported.size() == source.size());
        const QRect corner(8, source.height() - 40, 40, 30);
        const QRect clear(source.width() - 60, 10, 50, 40);
        QVERIFY2(difference(exported, source, corner) > 30.0,
                 qPrintable(QString::number(difference(exported, source, corner))));
        QVERIFY2(difference(exported, source, clear) < 8.0,
                 qPrintable(QString::number(difference(exported, source, clear))));

        // The track inside, as the copy writes it.
        const Run dump = run(VELOMAR_TRACK_TOOL, {"dump", o.output});
        const QJsonArray samples = QJsonDocument::fromJson(dump.out).object()["samples"].toArray();
        QCOMPARE(samples.size(), 31);
        for (int k = 0; k < samples.size(); ++k) {
            const QJsonObject s = samples[k].toObject();
            QCOMPARE(s["time"].toString(), trackgen::hhmmss(route[15 + k].secondOfDay, ":"));
            QVERIFY(metres(s["latitude"].toDouble(), s["longitude"].toDouble(),
                           route[15 + k].latitude, route[15 + k].longitude) < 1.0);
        }
    }

    void overlayFromTheCommandLine()
    {
        const QString mp4 = out("bar.mp4");
        const Run r =
            exportTool({card, "--from", "2024-05-14T14:00:30", "--to", "40", "--layout", "bar",
                        "--unit", "mph", "--hide", "route", "--preset", "fast", "-o", mp4});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        QCOMPARE(videoFrames(mp4), 10 * fps);
    }

    void overlayCancelled()
    {
        const QVector<trip::Drive> drives =
            trip::drives(trip::readMoments(trip::findVideos({card})));
        videoexport::Stretch stretch;
        QString error;
        QVERIFY(videoexport::stretchOf(drives[0], 0, 60, stretch, &error));
        videoexport::Options o;
        o.output = out("overlaycancelled.mp4");
        o.preset = "fast";
        const videoexport::Result r =
            videoexport::exportStretch(stretch, o, [](double done, double) { return done < 25; });
        QVERIFY(r.cancelled);
        QVERIFY(QDir(dir.path())
                    .entryList({"*overlaycancelled*"}, QDir::Files | QDir::Hidden)
                    .isEmpty());
    }

    void otherCamerasAsPictureInPicture()
    {
        // A front (blue, with the GPS) and a rear (red) camera of one
        // moment: the rear appears small at the top right, as the player
        // shows it.
        const QString movie = dir.filePath("pip/DCIM/Movie");
        QVERIFY(QDir().mkpath(movie));
        const QString bluePlain = dir.filePath("blue.mp4");
        QVERIFY(colours::clip(bluePlain, "blue", {640, 360}, 4));
        QVERIFY(colours::clip(movie + "/2024_0514_150000_0001R.MP4", "red", {640, 360}, 4));
        embedgen::Options o;
        o.layout = "novatek";
        o.date = "2024-05-14";
        QString error;
        QVERIFY2(embedgen::write(bluePlain, movie + "/2024_0514_150000_0001F.MP4", route.mid(0, 4),
                                 o, &error),
                 qPrintable(error));
        const QString mp4 = out("pip.mp4");
        const Run r = exportTool({dir.filePath("pip"), "--preset", "fast", "-o", mp4});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        const QImage picture = frameAt(mp4, 1.5, out("pip.png"));
        QVERIFY(!picture.isNull());
        QCOMPARE(colours::at(picture, QPointF(0.86, 0.15)), QString("red"));
        QCOMPARE(colours::at(picture, QPointF(0.5, 0.4)), QString("blue"));
        QCOMPARE(colours::at(picture, QPointF(0.6, 0.15)), QString("blue"));
    }

    void stretchByCameraClock()
    {
        // The same stretch named by the times the picture shows.
        const QString mp4 = out("clock.mp4");
        const Run r = exportTool({card, "--from", "2024-05-14T14:00:15", "--to",
                                  "2024-05-14T14:00:45", "--no-overlay", "-o", mp4});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        QCOMPARE(videoFrames(mp4), 30 * fps);
    }

    void cutAtKeyFrames()
    {
        // A copy starts at the key frame at or before --from: 15.5 s begins
        // at 15 s.
        const QString mp4 = out("key.mp4");
        const Run r = exportTool({card, "--from", "15.5", "--to", "25", "--no-overlay", "-o", mp4});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        QCOMPARE(videoFrames(mp4), 10 * fps);
    }

    void badRequestsRefusedInOneLine_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("says");
        QTest::newRow("unknown path")
            << QStringList{"/nonexistent/card", "-o", "x.mp4"} << "no such file or folder";
        QTest::newRow("outside the drive")
            << QStringList{"--from", "50", "--to", "90"} << "lies outside the drive";
        QTest::newRow("ends before it begins")
            << QStringList{"--from", "30", "--to", "10"} << "before it begins";
        QTest::newRow("bad time") << QStringList{"--from", "yesterday"}
                                  << "neither seconds into the drive";
        QTest::newRow("time in no drive")
            << QStringList{"--from", "2024-05-15T09:00:00"} << "lies in no drive";
        QTest::newRow("unwritable output")
            << QStringList{"-o", "/proc/velomar-export.mp4"} << "cannot write in /proc";
        QTest::newRow("missing folder")
            << QStringList{"-o", "/nonexistent/out.mp4"} << "does not exist";
        QTest::newRow("unknown preset")
            << QStringList{"--preset", "quick"} << "--preset is fast, balanced or small";
        QTest::newRow("unknown element") << QStringList{"--hide", "clock"} << "no element clock";
    }

    void badRequestsRefusedInOneLine()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, says);
        QStringList full = args;
        if (!full.contains("-o"))
            full << "-o" << out("bad.mp4");
        if (!full.first().startsWith('/'))
            full.prepend(card);
        full << "--no-overlay";
        const Run r = exportTool(full);
        QCOMPARE(r.exitCode, 2);
        const QString err = QString::fromUtf8(r.err).trimmed();
        QVERIFY2(!err.contains('\n'), qPrintable(err));
        QVERIFY2(err.startsWith("velomar-export: ") && err.contains(says), qPrintable(err));
        QVERIFY(!QFileInfo::exists(out("bad.mp4")));
        QVERIFY(!QFileInfo::exists(out(".bad.mp4.part")));
    }

    void existingOutputKeptWithoutForce()
    {
        const QString mp4 = out("existing.mp4");
        QVERIFY(trackgen::writeText(mp4, "keep me"));
        Run r = exportTool({card, "--from", "0", "--to", "5", "--no-overlay", "-o", mp4});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains("exists"));
        QCOMPARE(trackgen::readText(mp4), QString("keep me"));
        r = exportTool({card, "--from", "0", "--to", "5", "--no-overlay", "--force", "-o", mp4});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(videoFrames(mp4), 5 * fps);
    }

    void cancelLeavesNothing()
    {
        const QVector<trip::Drive> drives =
            trip::drives(trip::readMoments(trip::findVideos({card})));
        QCOMPARE(drives.size(), 1);
        videoexport::Stretch stretch;
        QString error;
        QVERIFY2(videoexport::stretchOf(drives[0], 5, 55, stretch, &error), qPrintable(error));
        QCOMPARE(stretch.pieces.size(), 3);
        videoexport::Options o;
        o.output = out("cancelled.mp4");
        o.overlay = false;
        o.gpx = true;
        int calls = 0;
        const videoexport::Result r =
            videoexport::exportStretch(stretch, o, [&](double done, double) {
                ++calls;
                return done < 20.0; // cancelled in the second clip
            });
        QVERIFY(r.cancelled);
        QVERIFY(!r.ok);
        QVERIFY(calls > 1);
        const QStringList left =
            QDir(dir.path()).entryList({"cancelled*", ".cancelled*"}, QDir::Files | QDir::Hidden);
        QVERIFY2(left.isEmpty(), qPrintable(left.join(", ")));
    }

    void interruptedToolLeavesNothing()
    {
        // Ctrl+C in a terminal once the file is being written: the tool
        // stops, says so, and leaves no part file. (A card this small may be
        // written before the signal arrives; then the file is whole.)
        QProcess p;
        p.start(VELOMAR_EXPORT_TOOL, {card, "--no-overlay", "-o", out("interrupted.mp4")});
        QVERIFY(p.waitForStarted());
        QByteArray err;
        QTRY_VERIFY_WITH_TIMEOUT((err += p.readAllStandardError()).contains("exported") ||
                                     p.state() == QProcess::NotRunning,
                                 30000);
        if (p.state() == QProcess::Running)
            ::kill(pid_t(p.processId()), SIGINT);
        QVERIFY(p.state() == QProcess::NotRunning || p.waitForFinished(30000));
        err += p.readAllStandardError();
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QVERIFY(!QFileInfo::exists(out(".interrupted.mp4.part")));
        if (p.exitCode() == 3) {
            QVERIFY(err.contains("interrupted; nothing was written"));
            QVERIFY(!QFileInfo::exists(out("interrupted.mp4")));
        } else {
            QCOMPARE(p.exitCode(), 0);
            QCOMPARE(videoFrames(out("interrupted.mp4")), 60 * fps);
        }
    }

    void clipCutShort()
    {
        // The middle clip ends early, as when a card is pulled while the
        // camera writes: its index says 20 s, its data holds about 12. The
        // export keeps what there is, says what is missing, and the video
        // stays continuous.
        const QString shortCard = dir.filePath("short");
        QVERIFY(QDir().mkpath(shortCard));
        const QStringList names = QDir(card).entryList({"*.MP4"}, QDir::Files, QDir::Name);
        QCOMPARE(names.size(), 3);
        QVERIFY(QFile::copy(card + "/" + names[0], shortCard + "/" + names[0]));
        QVERIFY(QFile::copy(card + "/" + names[2], shortCard + "/" + names[2]));
        const QString middle = shortCard + "/" + names[1];
        const Run remux =
            run(trackgen::ffmpegPath(), {"-v", "error", "-i", dir.filePath("plain.mp4"), "-c",
                                         "copy", "-movflags", "+faststart", middle});
        QCOMPARE(remux.exitCode, 0);
        QFile f(middle);
        QVERIFY(f.resize(f.size() * 6 / 10));
        const QString mp4 = out("short.mp4");
        const Run r =
            exportTool({shortCard, "--from", "0", "--to", "60", "--no-overlay", "-o", mp4});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        QVERIFY2(r.err.contains(names[1].toUtf8() + " ends at"), r.err.constData());
        const Run decode =
            run(trackgen::ffmpegPath(), {"-v", "error", "-i", mp4, "-f", "null", "-"});
        QCOMPARE(decode.exitCode, 0);
        const int frames = videoFrames(mp4);
        QVERIFY2(frames > 45 * fps && frames < 55 * fps, qPrintable(QString::number(frames)));
    }

    void clipUnreadable()
    {
        // A clip whose index was never written is left out, and said so.
        const QString brokenCard = dir.filePath("broken");
        QVERIFY(QDir().mkpath(brokenCard));
        const QStringList names = QDir(card).entryList({"*.MP4"}, QDir::Files, QDir::Name);
        for (const QString &n : names)
            QVERIFY(QFile::copy(card + "/" + n, brokenCard + "/" + n));
        QFile f(brokenCard + "/" + names[1]);
        QVERIFY(f.resize(f.size() * 6 / 10)); // the index sits at the end
        const QString mp4 = out("broken.mp4");
        const Run r =
            exportTool({brokenCard, "--from", "0", "--to", "60", "--no-overlay", "-o", mp4});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        QVERIFY2(r.err.contains(names[1].toUtf8() + " cannot be read and is left out"),
                 r.err.constData());
        QCOMPARE(videoFrames(mp4), 40 * fps);
    }
};

QTEST_MAIN(VideoExportTest) // the dashboard paints text: a GUI application
#include "tst_videoexport.moc"
