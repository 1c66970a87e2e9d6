// GPS kept inside videos: every camera layout, written over a real clip from
// a known drive, read back into the store and checked against the drive and
// against exiftool.

#include "embedded/gpmfreader.h"
#include "embedded/telemetry.h"
#include "embedded/texttrackreader.h"
#include "embedgen.h"
#include "exiftool.h"
#include "testutil.h"
#include "videoinfoparse.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtEndian>
#include <cmath>

namespace {

const int seconds = 30;
const char *samples = VELOMAR_TEST_DATA; // tests/data

QStringList listing(const QString &dir)
{
    return QDir(dir).entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
}

// The precision each layout keeps a position with, in degrees: float32
// minutes hold about seven digits, NMEA text five decimals of minutes.
double tolerance(const QString &layout)
{
    if (layout.startsWith("novatek"))
        return 2e-5;
    if (layout.startsWith("gpmf") || layout == "camm" || layout == "garmin")
        return 2e-6;
    return 2e-5;
}

bool hasClock(const QString &layout)
{
    return layout != "70mai" && layout != "garmin" && layout != "camm5";
}

} // namespace

class TestEmbeddedGps : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void layouts_data();
    void layouts();
    void invalidColdStartAndGap_data();
    void invalidColdStartAndGap();
    void exiftoolAgrees_data();
    void exiftoolAgrees();
    void nothingWrittenNoFfmpeg();
    void nmeaSubtitleKeepsItsPath();
    void userSubtitlesAreNotAFlightRecord();
    void encryptedNovatekIsRefused();
    void otherGpmdIsNotGpmf();
    void largeSparseFile();
    void goProKarma();
    void goProRawPayloads_data();
    void goProRawPayloads();
    void jumpsAreInvalid();
    void velomarTrackTool();
    void cammPositionsOnly();
    void cammTimeScales_data();
    void cammTimeScales();
    void cammWithMotionPackets();
    void rearCameraBorrowsFrontTrack();
    void djiSubtitleLayouts_data();
    void djiSubtitleLayouts();
    void djiFlightRecordsBesideTheVideo_data();
    void djiFlightRecordsBesideTheVideo();
    void novatekBlocksInASecondMdat();
    void goProGps9TimesOverGpsu();

private:
    QString make(const QString &name, const embedgen::Options &options);
    // Every second holds the drive's fix, but those in `invalid` none, and
    // those in `near` a valid fix from within half a second of it.
    void checkAgainstDrive(const VideoInfoParse &store, const QString &layout,
                           const QVector<int> &invalid = {}, const QVector<int> &near = {});

    QTemporaryDir dir;
    QString clip;
    QVector<trackgen::Fix> drive;
};

void TestEmbeddedGps::initTestCase()
{
    QVERIFY(dir.isValid());
    drive = trackgen::drive(seconds);
    clip = dir.filePath("clip.mp4");
    QString error;
    QVERIFY2(trackgen::makeClip(clip, seconds, QString(), &error), qPrintable(error));
}

QString TestEmbeddedGps::make(const QString &name, const embedgen::Options &options)
{
    // Each video in its own folder, as a camera's card keeps them apart
    // from other tracks.
    const QString folder = dir.filePath(name);
    QDir().mkpath(folder);
    const QString out = folder + "/" + name + (options.container == "mov" ? ".MOV" : ".MP4");
    QString error;
    if (!embedgen::write(clip, out, drive, options, &error)) {
        qWarning().noquote() << "embedgen:" << error;
        return QString();
    }
    return out;
}

void TestEmbeddedGps::checkAgainstDrive(const VideoInfoParse &store, const QString &layout,
                                        const QVector<int> &invalid, const QVector<int> &near)
{
    QCOMPARE(store.isParsed, 1);
    QCOMPARE(store.count, seconds);
    const double tol = tolerance(layout);
    for (int k = 0; k < seconds; ++k) {
        const VideoInfo *s = store.videoInfoMap.value(k);
        QVERIFY(s);
        if (invalid.contains(k)) {
            QVERIFY2(!s->valid, qPrintable(QString("second %1 should hold no fix").arg(k)));
            continue;
        }
        QVERIFY2(s->valid, qPrintable(QString("second %1 should hold a fix").arg(k)));
        if (near.contains(k))
            continue;
        const trackgen::Fix &f = drive[k];
        QVERIFY2(std::abs(s->signedLatitude() - f.latitude) < tol &&
                     std::abs(s->signedLongitude() - f.longitude) < tol,
                 qPrintable(QString("second %1: %2,%3 against %4,%5")
                                .arg(k)
                                .arg(s->signedLatitude(), 0, 'f', 7)
                                .arg(s->signedLongitude(), 0, 'f', 7)
                                .arg(f.latitude, 0, 'f', 7)
                                .arg(f.longitude, 0, 'f', 7)));
        // Speeds travel as knots, mph or m/s in float or integer steps
        // (Garmin: whole mph); a DJI flight record has none, its speed
        // comes from the positions, over the second before.
        const bool derived = layout == "dji-srt" || layout == "camm5";
        const double speedTolerance = derived ? 8.0 : layout == "garmin" ? 0.81 : 0.6;
        if (!(derived && k == 0))
            QVERIFY2(
                std::abs(s->speed - f.speedKmh) < speedTolerance,
                qPrintable(
                    QString("second %1: %2 km/h against %3").arg(k).arg(s->speed).arg(f.speedKmh)));
        if (hasClock(layout)) {
            QCOMPARE(s->date, QString("2023:05:14"));
            QCOMPARE(s->time, trackgen::hhmmss(f.secondOfDay, ":"));
        }
    }
}

void TestEmbeddedGps::layouts_data()
{
    QTest::addColumn<QString>("layout");
    QTest::addColumn<QString>("source");
    QTest::addColumn<bool>("index");
    QTest::addColumn<bool>("moovFirst");
    QTest::addColumn<bool>("largeSizes");
    QTest::addColumn<bool>("co64");
    QTest::addColumn<QString>("container");

    const QList<QPair<QString, QString>> all{
        {"novatek", "novatek"},
        {"novatek-v3", "novatek"},
        {"gpmf", "gpmf"},
        {"gpmf9", "gpmf"},
        {"texttrack", "texttrack"},
        {"texttrack-nextbase", "texttrack"},
        {"blackvue", "blackvue"},
        {"camm", "camm"},
        {"70mai", "70mai"},
        {"garmin", "garmin"},
        {"dji", "dji"},
        {"dji-srt", "dji"},
    };
    for (const auto &l : all)
        QTest::newRow(qPrintable(l.first))
            << l.first << l.second << true << false << false << false << "mp4";
    QTest::newRow("novatek no index") << "novatek"
                                      << "novatek" << false << false << false << false << "mp4";
    QTest::newRow("novatek no index moov first")
        << "novatek"
        << "novatek" << false << true << false << false << "mp4";
    QTest::newRow("novatek moov first 64-bit co64 mov")
        << "novatek"
        << "novatek" << true << true << true << true << "mov";
    QTest::newRow("gpmf moov first co64") << "gpmf"
                                          << "gpmf" << true << true << false << true << "mp4";
    QTest::newRow("gpmf 64-bit sizes mov") << "gpmf"
                                           << "gpmf" << true << false << true << false << "mov";
    QTest::newRow("texttrack mov") << "texttrack"
                                   << "texttrack" << true << false << false << false << "mov";
    QTest::newRow("camm co64 moov first") << "camm"
                                          << "camm" << true << true << true << true << "mp4";
    QTest::newRow("blackvue moov first") << "blackvue"
                                         << "blackvue" << true << true << false << false << "mp4";
    QTest::newRow("70mai 64-bit") << "70mai"
                                  << "70mai" << true << false << true << false << "mp4";
    QTest::newRow("garmin co64") << "garmin"
                                 << "garmin" << true << false << false << true << "mp4";
}

void TestEmbeddedGps::layouts()
{
    QFETCH(QString, layout);
    QFETCH(QString, source);
    embedgen::Options o;
    o.layout = layout;
    QFETCH(bool, index);
    o.index = index;
    QFETCH(bool, moovFirst);
    o.moovFirst = moovFirst;
    QFETCH(bool, largeSizes);
    o.largeSizes = largeSizes;
    QFETCH(bool, co64);
    o.co64 = co64;
    QFETCH(QString, container);
    o.container = container;
    const QString video = make(QString(QTest::currentDataTag()).replace(' ', '_'), o);
    QVERIFY(!video.isEmpty());

    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, source);
    checkAgainstDrive(store, layout);
}

void TestEmbeddedGps::invalidColdStartAndGap_data()
{
    QTest::addColumn<QString>("layout");
    for (const char *l : {"novatek", "novatek-v3", "gpmf", "gpmf9", "texttrack",
                          "texttrack-nextbase", "blackvue", "camm", "70mai"})
        QTest::newRow(l) << QString(l);
}

void TestEmbeddedGps::invalidColdStartAndGap()
{
    QFETCH(QString, layout);
    embedgen::Options o;
    o.layout = layout;
    o.coldStart = 3;
    o.invalidSeconds = {10, 11};
    o.gapFrom = 20;
    o.gapTo = 23;
    const QString video = make("faults-" + layout, o);
    QVERIFY(!video.isEmpty());
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    // Every key still its second; no fix where the camera had none. Where
    // fixes come many a second, the last ones before a second without fix
    // lie within half a second of it and stand for it.
    if (layout.startsWith("gpmf"))
        checkAgainstDrive(store, layout, {0, 1, 2, 11, 21, 22}, {10, 20});
    else
        checkAgainstDrive(store, layout, {0, 1, 2, 10, 11, 20, 21, 22});
    for (int k : {0, 11, 21}) {
        QCOMPARE(store.videoInfoMap.value(k)->date, QString("FFFF:FF:FF"));
        QCOMPARE(store.videoInfoMap.value(k)->speed, 0.0);
    }
}

void TestEmbeddedGps::exiftoolAgrees_data()
{
    QTest::addColumn<QString>("layout");
    for (const char *l : {"novatek", "novatek-v3", "gpmf", "texttrack", "texttrack-nextbase",
                          "blackvue", "camm", "70mai", "garmin", "dji"})
        QTest::newRow(l) << QString(l);
}

void TestEmbeddedGps::exiftoolAgrees()
{
    if (!exiftool::available())
        QFAIL("exiftool is a test dependency (libimage-exiftool-perl)");
    QFETCH(QString, layout);
    embedgen::Options o;
    o.layout = layout;
    const QString video = make("exiftool-" + layout, o);
    QVERIFY(!video.isEmpty());
    const QVector<exiftool::Fix> reference = exiftool::fixes(video);
    QVERIFY2(!reference.isEmpty(), "exiftool reads no fix");
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    // Every second's fix is one exiftool reads, and every one exiftool reads
    // at the rate of one a second is in the store.
    const double tol = tolerance(layout) / 2;
    for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it) {
        const VideoInfo *s = it.value();
        QVERIFY(s->valid);
        bool found = false;
        for (const exiftool::Fix &r : reference)
            if (std::abs(r.latitude - s->signedLatitude()) < tol &&
                std::abs(r.longitude - s->signedLongitude()) < tol)
                found = true;
        QVERIFY2(found, qPrintable(QString("second %1 (%2,%3) is no fix exiftool reads")
                                       .arg(it.key())
                                       .arg(s->signedLatitude(), 0, 'f', 7)
                                       .arg(s->signedLongitude(), 0, 'f', 7)));
    }
    if (!layout.startsWith("gpmf") && layout != "dji")
        QCOMPARE(reference.size(), store.count);
}

void TestEmbeddedGps::nothingWrittenNoFfmpeg()
{
    embedgen::Options o;
    o.layout = "novatek";
    const QString video = make("untouched", o);
    QVERIFY(!video.isEmpty());
    const QString folder = QFileInfo(video).path();
    const QStringList before = listing(folder);

    // An ffmpeg that leaves a mark when it is started.
    const QString mark = dir.filePath("ffmpeg-ran");
    const QString fake = dir.filePath("fake-ffmpeg");
    QVERIFY(trackgen::writeText(fake, "#!/bin/sh\ntouch '" + mark + "'\nexit 1\n"));
    QFile::setPermissions(fake, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    VideoInfoParse store;
    store.ffmpegPath = fake;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(listing(folder), before);
    QVERIFY(!QFile::exists(mark));

    // The same store with a video that has no layout: ffmpeg is asked.
    const QString plain = dir.filePath("plain/plain.MP4");
    QDir().mkpath(QFileInfo(plain).path());
    QVERIFY(QFile::copy(clip, plain));
    QCOMPARE(store.parseFile(plain), -1);
    QVERIFY(QFile::exists(mark));
}

void TestEmbeddedGps::nmeaSubtitleKeepsItsPath()
{
    // $GPRMC lines as a mov_text stream: read through ffmpeg as before,
    // with the .map kept beside the video.
    const QString folder = dir.filePath("subtitle");
    QDir().mkpath(folder);
    QStringList lines;
    for (const trackgen::Fix &f : drive)
        lines << trackgen::rmcLine(f);
    const QString srt = folder + "/in.srt";
    QVERIFY(trackgen::writeText(srt, trackgen::srtDocument(lines)));
    const QString video = folder + "/DRIVE.MP4";
    QVERIFY(trackgen::makeClip(video, seconds, srt));
    QFile::remove(srt);

    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("subtitle"));
    QVERIFY(QFile::exists(folder + "/DRIVE.map"));
    QCOMPARE(store.count, seconds);
    // Knots at the subtitle path's own factor, as it has always read them.
    QVERIFY(std::abs(store.videoInfoMap.value(5)->speed - drive[5].speedKmh) < 0.01);

    VideoInfoParse again;
    QCOMPARE(again.parseFile(video), 0);
    QCOMPARE(again.source, QString("map"));
}

void TestEmbeddedGps::userSubtitlesAreNotAFlightRecord()
{
    embedgen::Options o;
    o.layout = "novatek";
    const QString video = make("ownsubs", o);
    QVERIFY(!video.isEmpty());
    const QString own =
        QFileInfo(video).path() + "/" + QFileInfo(video).completeBaseName() + ".srt";
    QVERIFY(trackgen::writeText(own, trackgen::srtDocument({"Hello", "GPS (is a word here)"})));
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("novatek"));
    QCOMPARE(trackgen::readText(own), trackgen::srtDocument({"Hello", "GPS (is a word here)"}));
}

void TestEmbeddedGps::encryptedNovatekIsRefused()
{
    embedgen::Options o;
    o.layout = "novatek-xor";
    const QString video = make("encrypted", o);
    QVERIFY(!video.isEmpty());
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("novatek track of .* refused: GPS data present but "
                                            "encrypted \\(freeGPS block at offset \\d+\\)"));
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), -1);
    QCOMPARE(store.source, QString("novatek"));
    QCOMPARE(store.count, 0);
}

void TestEmbeddedGps::otherGpmdIsNotGpmf()
{
    // A gpmd track of Novatek-like records, as some dash cams write: not
    // decoded as GPMF.
    const QByteArray payload =
        QByteArray::fromHex("0a0000000b00000007000000e5070000") + QByteArray(64, 'x');
    QVERIFY(!embedded::GpmfReader::looksLikeGpmf(payload));
    QVector<embedded::Fix> fixes;
    embedded::GpmfReader::decode(payload, 0, 1, fixes);
    QVERIFY(fixes.isEmpty());
}

void TestEmbeddedGps::largeSparseFile()
{
    // Over 4 GB: a 64-bit mdat size. A Novatek index holds 32-bit offsets,
    // so its blocks stay below 4 GiB with the media data after them.
    embedgen::Options o;
    o.layout = "novatek";
    o.padBytes = qint64(4300) * 1000 * 1000;
    o.padAtEnd = true;
    const QString video = make("sparse", o);
    QVERIFY(!video.isEmpty());
    QVERIFY(QFileInfo(video).size() > (qint64(1) << 32));
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("novatek"));
    checkAgainstDrive(store, "novatek");
    QFile::remove(video);

    // GPMF with the samples past 4 GiB: co64 offsets.
    o.layout = "gpmf";
    o.padAtEnd = false;
    const QString far = make("sparse-gpmf", o);
    QVERIFY(!far.isEmpty());
    VideoInfoParse gpmf;
    QCOMPARE(gpmf.parseFile(far), 0);
    QCOMPARE(gpmf.source, QString("gpmf"));
    checkAgainstDrive(gpmf, "gpmf");
    QFile::remove(far);
}

void TestEmbeddedGps::goProKarma()
{
    // A real GoPro file; its GPS comes from the Karma drone's stream.
    const QString video = dir.filePath("karma/karma.mp4");
    QDir().mkpath(QFileInfo(video).path());
    QVERIFY(QFile::copy(QString(samples) + "/gopro/karma.mp4", video));
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("gpmf"));
    QCOMPARE(store.count, 13);
    QCOMPARE(store.videoInfoMap.value(0)->date, QString("2017:04:17"));
    QCOMPARE(store.videoInfoMap.value(0)->time, QString("19:27:57"));
    if (!exiftool::available())
        QFAIL("exiftool is a test dependency (libimage-exiftool-perl)");
    const QVector<exiftool::Fix> reference = exiftool::fixes(video);
    QVERIFY(reference.size() >= 40);
    for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it) {
        bool found = false;
        for (const exiftool::Fix &r : reference)
            if (std::abs(r.latitude - it.value()->signedLatitude()) < 1e-7 &&
                std::abs(r.longitude - it.value()->signedLongitude()) < 1e-7)
                found = true;
        QVERIFY2(found, qPrintable(QString("second %1 is no fix exiftool reads").arg(it.key())));
    }
}

void TestEmbeddedGps::goProRawPayloads_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<double>("latitude"); // roughly, to tell a misread scale
    QTest::addColumn<double>("longitude");
    QTest::addColumn<bool>("locked"); // GPSF 3, or 0 (no lock: every fix invalid)
    QTest::newRow("hero5") << "hero5.raw" << 33.1 << -117.3 << true;
    QTest::newRow("hero6") << "hero6.raw" << 33.1 << -117.3 << false;
    QTest::newRow("hero6+ble") << "hero6+ble.raw" << 33.1 << -117.3 << false;
    QTest::newRow("fusion") << "Fusion.raw" << 33.1 << -117.3 << true;
}

void TestEmbeddedGps::goProRawPayloads()
{
    QFETCH(QString, file);
    QFETCH(double, latitude);
    QFETCH(double, longitude);
    QFETCH(bool, locked);
    QFile f(QString(samples) + "/gopro/" + file);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray payload = f.readAll();
    QVERIFY(embedded::GpmfReader::looksLikeGpmf(payload));
    QVector<embedded::Fix> fixes;
    QString error;
    QVERIFY2(embedded::GpmfReader::decode(payload, 0.0, 1.0, fixes, &error), qPrintable(error));
    QVERIFY(fixes.size() >= 10);
    int valid = 0;
    for (const embedded::Fix &x : fixes) {
        QVERIFY(x.at >= 0.0 && x.at < 1.0);
        valid += x.valid;
        QVERIFY2(std::abs(x.latitude - latitude) < 1.0 && std::abs(x.longitude - longitude) < 1.0,
                 qPrintable(QString("%1,%2").arg(x.latitude).arg(x.longitude)));
        QVERIFY(x.clockMs > QDateTime(QDate(2015, 1, 1), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch());
    }
    QCOMPARE(valid, locked ? fixes.size() : 0);
}

void TestEmbeddedGps::jumpsAreInvalid()
{
    // One fix 50 km off between two on the road, and a first fix from a
    // stale place before lock: both invalid.
    QVector<embedded::Fix> fixes;
    for (int i = 0; i < 20; ++i) {
        embedded::Fix f;
        f.at = i;
        f.valid = true;
        f.latitude = 48.0 + i * 0.0002; // about 80 km/h
        f.longitude = 11.0;
        fixes.append(f);
    }
    fixes[0].latitude = 52.5;
    fixes[10].longitude = 11.7;
    embedded::rejectImpossible(fixes);
    QVERIFY(!fixes[0].valid);
    QVERIFY(!fixes[10].valid);
    for (int i : {1, 2, 9, 11, 19})
        QVERIFY(fixes[i].valid);
    // A real move after a tunnel (a long gap, a plausible speed) stays.
    fixes[19].at = 600;
    fixes[19].latitude = 48.2;
    embedded::rejectImpossible(fixes);
    QVERIFY(fixes[19].valid);
}

void TestEmbeddedGps::velomarTrackTool()
{
    auto run = [](const QStringList &args, QByteArray *out) {
        QProcess p;
        p.setStandardInputFile(QProcess::nullDevice());
        p.start(VELOMAR_TRACK_TOOL, args);
        if (!p.waitForFinished(60000))
            return -1;
        *out = p.readAllStandardOutput();
        return p.exitCode();
    };
    QByteArray out;
    QCOMPARE(run({"formats"}, &out), 0);
    QStringList sources;
    for (const QByteArray &line : out.trimmed().split('\n'))
        sources << QString::fromUtf8(line.left(line.indexOf('\t')));
    QCOMPARE(sources, QStringList({"gpmf", "camm", "novatek", "blackvue", "70mai", "garmin", "dji",
                                   "texttrack"}));

    embedgen::Options o;
    o.layout = "camm";
    const QString video = make("tool", o);
    QVERIFY(!video.isEmpty());
    QCOMPARE(run({"dump", video}, &out), 0);
    const QJsonObject dump = QJsonDocument::fromJson(out).object();
    QCOMPARE(dump["source"].toString(), QString("camm"));
    QCOMPARE(dump["clock"].toString(), QString("utc"));
    QCOMPARE(dump["count"].toInt(), seconds);
    // The altitude travels with the fix.
    QVERIFY(std::abs(dump["samples"].toArray()[4].toObject()["altitude"].toDouble() -
                     embedgen::altitudeAt(4)) < 0.01);

    QCOMPARE(run({"export", video, "--format", "gpx"}, &out), 0);
    QCOMPARE(out.count("<trkpt "), seconds);
    QVERIFY(out.contains(QString::number(drive[7].latitude, 'f', 6).toLatin1()));
}

void TestEmbeddedGps::cammPositionsOnly()
{
    // Packet type 5: a position with no time and no speed.
    embedgen::Options o;
    o.layout = "camm";
    o.camm5 = true;
    const QString video = make("camm5", o);
    QVERIFY(!video.isEmpty());
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("camm"));
    checkAgainstDrive(store, "camm5");
}

void TestEmbeddedGps::cammTimeScales_data()
{
    QTest::addColumn<QString>("date");
    QTest::addColumn<bool>("unixTime");
    QTest::newRow("GPS time 2023") << "2023-05-14" << false;
    // GPS seconds pass 1.4e9 in May 2024: no threshold tells the two apart.
    QTest::newRow("GPS time 2025") << "2025-03-01" << false;
    QTest::newRow("Unix time 2025") << "2025-03-01" << true;
    QTest::newRow("Unix time 2016") << "2016-08-20" << true;
}

void TestEmbeddedGps::cammTimeScales()
{
    // Type 6 counts GPS time, 18 s ahead of UTC since 2017; Insta360 writes
    // Unix time there. Either way the samples read UTC.
    QFETCH(QString, date);
    QFETCH(bool, unixTime);
    embedgen::Options o;
    o.layout = "camm";
    o.date = date;
    o.cammUnix = unixTime;
    const QString video = make(QString("camm-%1-%2").arg(date).arg(unixTime), o);
    QVERIFY(!video.isEmpty());
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("camm"));
    for (int k : {0, 7, seconds - 1}) {
        const VideoInfo *s = store.videoInfoMap.value(k);
        QVERIFY(s && s->valid);
        QCOMPARE(s->date, QString(date).replace('-', ':'));
        QCOMPARE(s->time, trackgen::hhmmss(drive[k].secondOfDay, ":"));
    }
}

void TestEmbeddedGps::cammWithMotionPackets()
{
    // Orientation (type 0) and gyro packets share the samples with the fixes:
    // stepped over by their sizes, the fixes read.
    embedgen::Options o;
    o.layout = "camm";
    o.cammMotion = true;
    const QString video = make("camm-motion", o);
    QVERIFY(!video.isEmpty());
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("camm"));
    checkAgainstDrive(store, "camm");
}

void TestEmbeddedGps::rearCameraBorrowsFrontTrack()
{
    // The rear camera's clip has no GPS of its own; the front one keeps it
    // inside the video.
    const QString folder = dir.filePath("frontrear");
    QDir().mkpath(folder);
    embedgen::Options o;
    o.layout = "gpmf";
    QString error;
    QVERIFY2(embedgen::write(clip, folder + "/20230514_120000A.MP4", drive, o, &error),
             qPrintable(error));
    QVERIFY(QFile::copy(clip, folder + "/20230514_120000B.MP4"));
    VideoInfoParse store;
    QCOMPARE(store.parseFile(folder + "/20230514_120000B.MP4"), 0);
    QCOMPARE(store.source, QString("gpmf"));
    checkAgainstDrive(store, "gpmf");
}

// The subtitle texts real drones write. Latitude and longitude are both
// under 90 here, so only the layout can tell which comes first.
void TestEmbeddedGps::djiSubtitleLayouts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("latitude");
    QTest::addColumn<double>("longitude");
    QTest::addColumn<double>("altitude");
    QTest::addColumn<QString>("when");
    QTest::newRow("HOME, longitude first")
        << "HOME(149.0251,-20.2532) 2017.08.05 14:11:51 GPS(149.0251,-20.2533,16) BAROMETER:1.9"
        << -20.2533 << 149.0251 << 16.0 << "2017-08-05T14:11:51.000";
    QTest::newRow("HOME, both under 90")
        << "HOME(11.5750,48.1370) 2017.08.05 14:11:51 GPS(11.5751,48.1371,16) BAROMETER:1.9"
        << 48.1371 << 11.5751 << 16.0 << "2017-08-05T14:11:51.000";
    QTest::newRow("metres marked, latitude first")
        << "2022.06.21 16:06:17 GPS(36.6146,-6.1120,0.0M) BAROMETER:0.3M" << 36.6146 << -6.1120
        << 0.0 << "2022-06-21T16:06:17.000";
    QTest::newRow("metres marked, both under 90")
        << "2022.06.21 16:06:17 GPS(48.1371,11.5751,12.5M) BAROMETER:0.3M" << 48.1371 << 11.5751
        << 12.5 << "2022-06-21T16:06:17.000";
    QTest::newRow("camera settings, longitude first")
        << "F/2.8, SS 30.15, ISO 260, EV -1.7, GPS (-121.7458, 48.0771, 17), D 221.21m, H 200.70m"
        << 48.0771 << -121.7458 << 17.0 << "";
    QTest::newRow("per frame, the drone's spelling")
        << "2020-04-02 15:19:58,720,764 [latitude : 31.452012] [longtitude : 74.398751] "
           "[altitude: 213.98]"
        << 31.452012 << 74.398751 << 213.98 << "2020-04-02T15:19:58.720";
    QTest::newRow("per frame, newer")
        << "[iso : 100] [latitude: 41.424724] [longitude: 2.234156] [rel_alt: 1.2 abs_alt: 95.5]"
        << 41.424724 << 2.234156 << 95.5 << "";
}

void TestEmbeddedGps::djiSubtitleLayouts()
{
    QFETCH(QString, text);
    QFETCH(double, latitude);
    QFETCH(double, longitude);
    QFETCH(double, altitude);
    QFETCH(QString, when);
    embedded::Fix fix;
    QVERIFY(embedded::DjiReader::decodeText(text, fix));
    QCOMPARE(fix.latitude, latitude);
    QCOMPARE(fix.longitude, longitude);
    QCOMPARE(fix.altitude, altitude);
    if (when.isEmpty())
        QCOMPARE(fix.clockMs, qint64(-1));
    else
        QCOMPARE(QDateTime::fromMSecsSinceEpoch(fix.clockMs, Qt::UTC)
                     .toString("yyyy-MM-ddThh:mm:ss.zzz"),
                 when);
}

// NAME.SRT beside a drone's video in each layout: found, read, and placed
// one fix a second.
void TestEmbeddedGps::djiFlightRecordsBesideTheVideo_data()
{
    QTest::addColumn<QString>("layout");
    QTest::newRow("home") << "HOME(%2,%1) %3 GPS(%2,%1,16) BAROMETER:1.9";
    QTest::newRow("metres") << "%3 GPS(%1,%2,12.0M) BAROMETER:0.3M";
    QTest::newRow("per frame") << "%4,000,000 [latitude : %1] [longtitude : %2] [altitude: 80.5]";
}

void TestEmbeddedGps::djiFlightRecordsBesideTheVideo()
{
    QFETCH(QString, layout);
    const QVector<trackgen::Fix> flight = trackgen::drive(seconds, 48.137, 11.575);
    const QString folder =
        dir.filePath("dji-" + QString(QTest::currentDataTag()).replace(' ', '-'));
    QVERIFY(QDir().mkpath(folder));
    const QString video = folder + "/DJI_0001.MP4";
    QVERIFY(QFile::copy(clip, video));
    QStringList texts;
    for (const trackgen::Fix &f : flight) {
        const QString clock = trackgen::hhmmss(f.secondOfDay, ":");
        texts << layout.arg(f.latitude, 0, 'f', 6)
                     .arg(f.longitude, 0, 'f', 6)
                     .arg("2023.05.14 " + clock, "2023-05-14 " + clock);
    }
    QVERIFY(trackgen::writeText(folder + "/DJI_0001.SRT", trackgen::srtDocument(texts)));
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("dji"));
    QCOMPARE(store.count, seconds);
    for (int k = 0; k < seconds; ++k) {
        const VideoInfo *s = store.videoInfoMap.value(k);
        QVERIFY(s && s->valid);
        QVERIFY2(std::abs(s->signedLatitude() - flight[k].latitude) < 1e-5 &&
                     std::abs(s->signedLongitude() - flight[k].longitude) < 1e-5,
                 qPrintable(QString("second %1: %2,%3")
                                .arg(k)
                                .arg(s->signedLatitude())
                                .arg(s->signedLongitude())));
        QCOMPARE(s->time, trackgen::hhmmss(flight[k].secondOfDay, ":"));
    }
}

// Some cameras write a second mdat after moov and put the blocks there:
// the scan looks through every media data box.
void TestEmbeddedGps::novatekBlocksInASecondMdat()
{
    embedgen::Options o;
    o.layout = "novatek";
    o.index = false;
    const QString video = make("secondmdat", o);
    QVERIFY(!video.isEmpty());
    QFile f(video);
    QVERIFY(f.open(QIODevice::ReadWrite));
    QByteArray bytes = f.readAll();
    // Every block moves to a new box at the end; where it stood, its mark
    // is blotted out.
    QByteArray blocks;
    int at = bytes.indexOf("freeGPS ");
    while (at >= 4) {
        const quint32 size = qFromBigEndian<quint32>(bytes.constData() + at - 4);
        QVERIFY(size >= 16 && at - 4 + int(size) <= bytes.size());
        blocks += bytes.mid(at - 4, int(size));
        bytes.replace(at, 8, "skipped!");
        at = bytes.indexOf("freeGPS ", at + 8);
    }
    QCOMPARE(blocks.count("freeGPS "), seconds);
    QByteArray box(8, '\0');
    qToBigEndian<quint32>(quint32(blocks.size() + 8), box.data());
    box.replace(4, 4, "mdat");
    bytes += box + blocks;
    QVERIFY(f.seek(0));
    QCOMPARE(f.write(bytes), qint64(bytes.size()));
    f.close();

    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("novatek"));
    checkAgainstDrive(store, "novatek");
}

// A HERO11 writes GPS9 beside GPS5, whose GPSU stamp runs about 1.4 s after
// its fixes: the fixes and times are GPS9's own.
void TestEmbeddedGps::goProGps9TimesOverGpsu()
{
    embedgen::Options o;
    o.layout = "gpmf9";
    o.gps5Beside = true;
    const QString video = make("hero11", o);
    QVERIFY(!video.isEmpty());
    VideoInfoParse store;
    QCOMPARE(store.parseFile(video), 0);
    QCOMPARE(store.source, QString("gpmf"));
    checkAgainstDrive(store, "gpmf9");
}

QTEST_GUILESS_MAIN(TestEmbeddedGps)
#include "tst_embeddedgps.moc"
