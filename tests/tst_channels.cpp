// Cards as cameras write them: the files the cameras of one recorder wrote
// at the same moment are one clip with a channel each, in every naming
// scheme; event, manual and parking recordings are told apart; every clip is
// on the camera's clock; distances and exports count each moment once.

#include "cameraclock.h"
#include "embedgen.h"
#include "moments.h"
#include "recording.h"
#include "testutil.h"
#include "trip.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QXmlStreamReader>

namespace {

Run tool(const QStringList &args)
{
    return run(VELOMAR_TRACK_TOOL, args);
}

QString iso(const QDateTime &t)
{
    return t.toString("yyyy-MM-dd'T'hh:mm:ss");
}

QStringList channelNames(const trip::Clip &c)
{
    QStringList names;
    for (const trip::Channel &ch : c.channels)
        names << ch.name;
    return names;
}

} // namespace

class ChannelsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    // 12:00:00 UTC onwards on 2024-05-14, one fix a second; the camera's
    // clock reads two hours later.
    const QVector<trackgen::Fix> route = trackgen::drive(120, 48.137, 11.575, 12 * 3600);

    QString at(const QString &card, const QString &relative) const
    {
        return QDir(dir.path()).filePath(card + '/' + relative);
    }
    void plainClip(const QString &path, int seconds)
    {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QString error;
        QVERIFY2(trackgen::makeClip(path, seconds, QString(), &error), qPrintable(error));
    }
    void gpsClip(const QString &path, int first, int seconds)
    {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        embedgen::Options options;
        options.layout = "novatek";
        options.date = "2024-05-14";
        QString error;
        QVERIFY2(embedgen::make(path, route.mid(first, seconds), options, &error),
                 qPrintable(error));
    }
    QVector<trip::Drive> drivesOf(const QString &card) const
    {
        return trip::drives(trip::readMoments(trip::findVideos({QDir(dir.path()).filePath(card)})));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        qputenv("TZ", "UTC"); // the machine's zone, where no clip tells the camera's
    }

    void namingSchemes_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("channel");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("partner"); // a file of the same moment
        QTest::newRow("viofo front") << "DCIM/Movie/2024_0514_140000_0001F.MP4"
                                     << "front"
                                     << "normal"
                                     << "DCIM/Movie/2024_0514_140000_0001R.MP4";
        QTest::newRow("viofo interior") << "DCIM/Movie/2024_0514_140000_0001I.MP4"
                                        << "interior"
                                        << "normal"
                                        << "DCIM/Movie/2024_0514_140000_0001F.MP4";
        QTest::newRow("viofo telephoto") << "DCIM/Movie/2024_0514_140000_0001T.MP4"
                                         << "telephoto"
                                         << "normal"
                                         << "DCIM/Movie/2024_0514_140000_0001F.MP4";
        QTest::newRow("viofo parking") << "DCIM/Movie/2024_0514_140000_0001PR.MP4"
                                       << "rear"
                                       << "parking"
                                       << "DCIM/Movie/2024_0514_140000_0001PF.MP4";
        QTest::newRow("viofo locked") << "DCIM/Movie/RO/2024_0514_140000_0001F.MP4"
                                      << "front"
                                      << "event"
                                      << "DCIM/Movie/RO/2024_0514_140000_0001R.MP4";
        QTest::newRow("underscore") << "DCIM/20240514_140000_R.MP4"
                                    << "rear"
                                    << "normal"
                                    << "DCIM/20240514_140000_F.MP4";
        QTest::newRow("blackvue normal") << "Record/20240514_140000_NR.mp4"
                                         << "rear"
                                         << "normal"
                                         << "Record/20240514_140000_NF.mp4";
        QTest::newRow("blackvue event") << "Record/20240514_140000_ER.mp4"
                                        << "rear"
                                        << "event"
                                        << "Record/20240514_140000_EF.mp4";
        QTest::newRow("blackvue parking") << "Record/20240514_140000_PI.mp4"
                                          << "interior"
                                          << "parking"
                                          << "Record/20240514_140000_PF.mp4";
        QTest::newRow("blackvue manual") << "Record/20240514_140000_MR.mp4"
                                         << "rear"
                                         << "manual"
                                         << "Record/20240514_140000_MF.mp4";
        QTest::newRow("70mai back") << "Normal/Back/NO20240514-140000-000123B.MP4"
                                    << "rear"
                                    << "normal"
                                    << "Normal/Front/NO20240514-140000-000123F.MP4";
        QTest::newRow("70mai event") << "Event/Back/EV20240514-140000-000124B.MP4"
                                     << "rear"
                                     << "event"
                                     << "Event/Front/EV20240514-140000-000124F.MP4";
        QTest::newRow("70mai parking") << "Parking/Front/PA20240514-140000-000125F.MP4"
                                       << "front"
                                       << "parking"
                                       << "Parking/Back/PA20240514-140000-000125B.MP4";
        QTest::newRow("folders only") << "Back/MOVI0001.MP4"
                                      << "rear"
                                      << "normal"
                                      << "Front/MOVI0001.MP4";
        QTest::newRow("thinkware") << "cont_rec/REC_2024_05_14_14_00_00_R.MP4"
                                   << "rear"
                                   << "normal"
                                   << "cont_rec/REC_2024_05_14_14_00_00_F.MP4";
        QTest::newRow("thinkware event") << "evt_rec/EVT_2024_05_14_14_00_00_R.MP4"
                                         << "rear"
                                         << "event"
                                         << "evt_rec/EVT_2024_05_14_14_00_00_F.MP4";
        QTest::newRow("thinkware parking") << "parking_rec/PRK_2024_05_14_14_00_00_F.MP4"
                                           << "front"
                                           << "parking"
                                           << "parking_rec/PRK_2024_05_14_14_00_00_R.MP4";
        QTest::newRow("thinkware manual") << "manual_rec/MAN_2024_05_14_14_00_00_F.MP4"
                                          << "front"
                                          << "manual"
                                          << "manual_rec/MAN_2024_05_14_14_00_00_R.MP4";
        QTest::newRow("own side files") << "2017_0615_120000_001B.MP4"
                                        << "rear"
                                        << "normal"
                                        << "2017_0615_120000_001A.MP4";
        QTest::newRow("tesla back") << "TeslaCam/RecentClips/2024-05-14_14-00-00-back.mp4"
                                    << "rear"
                                    << "normal"
                                    << "TeslaCam/RecentClips/2024-05-14_14-00-00-front.mp4";
        QTest::newRow("tesla left") << "TeslaCam/SavedClips/2024-05-14_14-00-00-left_repeater.mp4"
                                    << "side-left"
                                    << "manual"
                                    << "TeslaCam/SavedClips/2024-05-14_14-00-00-front.mp4";
        QTest::newRow("tesla right")
            << "TeslaCam/SentryClips/2024-05-14_14-00-00-right_repeater.mp4"
            << "side-right"
            << "parking"
            << "TeslaCam/SentryClips/2024-05-14_14-00-00-front.mp4";
    }
    void namingSchemes()
    {
        QFETCH(QString, path);
        QFETCH(QString, channel);
        QFETCH(QString, kind);
        QFETCH(QString, partner);
        const trip::Recording r = trip::recordingOf("/card/" + path);
        QCOMPARE(r.channel, channel);
        QCOMPARE(r.kind, kind);
        QVERIFY(!r.moment.isEmpty());
        QCOMPARE(trip::recordingOf("/card/" + partner).moment, r.moment);
    }

    // Names that only look like a mark, and marks of other moments.
    void notTheSameMoment()
    {
        QVERIFY(trip::recordingOf("/v/HOLIDAY_F.MP4").channel.isEmpty());
        QVERIFY(trip::recordingOf("/v/20240514_140000.MP4").channel.isEmpty());
        QVERIFY(trip::recordingOf("/v/GX010001.MP4").channel.isEmpty());
        const auto moment = [](const char *p) { return trip::recordingOf(p).moment; };
        // Normal and parking of the same minute, two recorders' folders,
        // two moments of one camera.
        QVERIFY(moment("/c/2024_0514_140000_0001F.MP4") !=
                moment("/c/2024_0514_140000_0001PF.MP4"));
        QVERIFY(moment("/c/a/2024_0514_140000_0001F.MP4") !=
                moment("/c/b/2024_0514_140000_0001R.MP4"));
        QVERIFY(moment("/c/2024_0514_140000_0001F.MP4") != moment("/c/2024_0514_140100_0002R.MP4"));
    }

    // A Viofo-style card: three moments of front (GPS inside) and rear, one
    // moment missing its rear, one front without GPS; the camera's clock two
    // hours ahead of UTC.
    void twoChannelCard()
    {
        const QString card = "viofo";
        for (int k = 0; k < 4; ++k) {
            const QString stamp =
                QStringLiteral("2024_0514_1400%1_000%2").arg(k * 6, 2, 10, QChar('0')).arg(k + 1);
            if (k < 3)
                gpsClip(at(card, "DCIM/Movie/" + stamp + "F.MP4"), k * 6, 5);
            else
                plainClip(at(card, "DCIM/Movie/" + stamp + "F.MP4"), 5);
            if (k != 1)
                plainClip(at(card, "DCIM/Movie/" + stamp + "R.MP4"), 5);
        }
        const QVector<trip::Drive> drives = drivesOf(card);
        QCOMPARE(drives.size(), 1);
        const trip::Drive &d = drives.first();
        QCOMPARE(d.clips.size(), 4);
        QCOMPARE(channelNames(d.clips[0]), QStringList({"front", "rear"}));
        QCOMPARE(channelNames(d.clips[1]), QStringList({"front"}));
        QVERIFY(d.clips[0].path.endsWith("0001F.MP4"));
        QVERIFY(d.clips[0].channels[1].path.endsWith("0001R.MP4"));
        // Each moment's distance once: the three tracks, not six.
        double km = 0.0;
        for (int k = 0; k < 3; ++k) {
            QCOMPARE(d.clips[k].source, QString("novatek"));
            km += d.clips[k].distanceKm;
        }
        QVERIFY(km > 0.0);
        QCOMPARE(d.distanceKm(), km);
        // On the camera's clock, the GPS clips and the one without alike.
        for (int k = 0; k < 4; ++k) {
            QCOMPARE(iso(d.clips[k].start),
                     QString("2024-05-14T14:00:%1").arg(k * 6, 2, 10, QChar('0')));
            QCOMPARE(iso(d.clips[k].utc),
                     QString("2024-05-14T12:00:%1").arg(k * 6, 2, 10, QChar('0')));
            QVERIFY(!d.clips[k].zoneAssumed);
        }

        // The same through velomar-track, and its export writes each moment once.
        const Run r = tool({"trip", QDir(dir.path()).filePath(card)});
        QCOMPARE(r.exitCode, 0);
        const QJsonArray clips = QJsonDocument::fromJson(r.out)
                                     .object()["trips"]
                                     .toArray()
                                     .first()
                                     .toObject()["clips"]
                                     .toArray();
        QCOMPARE(clips.size(), 4);
        const QJsonObject first = clips.first().toObject();
        QCOMPARE(first["start"].toString(), QString("2024-05-14T14:00:00"));
        QCOMPARE(first["utc"].toString(), QString("2024-05-14T12:00:00Z"));
        QCOMPARE(first["kind"].toString(), QString("normal"));
        const QJsonArray channels = first["channels"].toArray();
        QCOMPARE(channels.size(), 2);
        QCOMPARE(channels[0].toObject()["name"].toString(), QString("front"));
        QCOMPARE(channels[1].toObject()["name"].toString(), QString("rear"));
        QCOMPARE(channels[0].toObject()["path"].toString(), first["path"].toString());
        QVERIFY(channels[1].toObject()["path"].toString().endsWith("0001R.MP4"));

        const Run gpx =
            tool({"export", "--trip", QDir(dir.path()).filePath(card), "--format", "gpx"});
        QCOMPARE(gpx.exitCode, 0);
        QXmlStreamReader xml(gpx.out);
        int segments = 0, points = 0;
        while (!xml.atEnd())
            if (xml.readNext() == QXmlStreamReader::StartElement) {
                segments += xml.name() == QLatin1String("trkseg");
                points += xml.name() == QLatin1String("trkpt");
            }
        QCOMPARE(segments, 3);
        QCOMPARE(points, 15);
    }

    // The rear camera's file carries the track where the front's has none.
    void trackFromWhicheverChannelHasOne()
    {
        const QString card = "reartrack";
        plainClip(at(card, "Movie/2024_0514_140000_0001F.MP4"), 5);
        gpsClip(at(card, "Movie/2024_0514_140000_0001R.MP4"), 0, 5);
        const QVector<trip::Drive> drives = drivesOf(card);
        QCOMPARE(drives.size(), 1);
        QCOMPARE(drives[0].clips.size(), 1);
        const trip::Clip &c = drives[0].clips[0];
        QCOMPARE(c.source, QString("novatek"));
        QVERIFY(c.path.endsWith("F.MP4")); // the front still plays large
        QCOMPARE(c.points.size(), 5);
    }

    // BlackVue: three channels, an event recording within a normal minute,
    // and a parking recording that does not join the drive it interrupts.
    void threeChannelsEventsAndParking()
    {
        const QString card = "blackvue";
        for (const char *ch : {"F", "R", "I"}) {
            plainClip(at(card, QStringLiteral("Record/20240514_140000_N%1.mp4").arg(ch)), 6);
            plainClip(at(card, QStringLiteral("Record/20240514_140006_N%1.mp4").arg(ch)), 6);
            plainClip(at(card, QStringLiteral("Record/20240514_140002_E%1.mp4").arg(ch)), 3);
        }
        // A parking recording within the drive's time.
        plainClip(at(card, "Record/20240514_140004_PF.mp4"), 2);
        const QVector<trip::Drive> drives = drivesOf(card);
        QCOMPARE(drives.size(), 2);
        const trip::Drive &driving = drives[0];
        QVERIFY(!driving.parking());
        QCOMPARE(driving.clips.size(), 2);
        QCOMPARE(channelNames(driving.clips[0]), QStringList({"front", "rear", "interior"}));
        QCOMPARE(driving.clips[0].eventCopies.size(), 3);
        QVERIFY(driving.clips[0].eventCopies.first().endsWith("_EF.mp4"));
        QVERIFY(drives[1].parking());
        QCOMPARE(drives[1].clips.size(), 1);
        QCOMPARE(drives[1].clips[0].kind, QString("parking"));
    }

    // Names that do not tell: the same start and length in two folders.
    void pairedByTime()
    {
        const QString card = "unnamed";
        const QDateTime t(QDate(2024, 5, 14), QTime(14, 0, 0), Qt::UTC);
        for (const char *folder : {"CAM1", "CAM2"}) {
            QVERIFY(QDir().mkpath(at(card, folder)));
            QVERIFY(
                trackgen::makeClipRecordedAt(at(card, QString(folder) + "/MOVI0001.MP4"), 4, t));
            QVERIFY(trackgen::makeClipRecordedAt(at(card, QString(folder) + "/MOVI0002.MP4"), 4,
                                                 t.addSecs(4)));
        }
        const QVector<trip::Drive> drives = drivesOf(card);
        QCOMPARE(drives.size(), 1);
        QCOMPARE(drives[0].clips.size(), 2);
        QCOMPARE(channelNames(drives[0].clips[0]), QStringList({"front", "rear"}));
        QVERIFY(drives[0].clips[0].path.contains("/CAM1/"));
        QVERIFY(drives[0].clips[0].channels[1].path.contains("/CAM2/"));
    }

    // NMEA clips whose names hold no time: their RMC dates time them.
    void nmeaClipsTimedByTheirDates()
    {
        const QString card = "nmea";
        for (int k = 0; k < 2; ++k) {
            const QString video =
                at(card, QStringLiteral("MOVI%1.MP4").arg(k + 1, 4, 10, QChar('0')));
            plainClip(video, 4);
            QStringList lines;
            for (const trackgen::Fix &f : route.mid(k * 4, 4))
                lines << trackgen::rmcLine(f);
            QVERIFY(trackgen::writeText(video.chopped(4) + ".TXT", lines.join('\n') + '\n'));
            // A file time far from it must not count.
            QFile file(video);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(QDateTime(QDate(2030, 1, 1), QTime(9, 0)),
                                     QFileDevice::FileModificationTime));
        }
        const QVector<trip::Drive> drives = drivesOf(card);
        QCOMPARE(drives.size(), 1);
        QCOMPARE(drives[0].clips.size(), 2);
        QCOMPARE(drives[0].clips[0].startFrom, QString("track"));
        QCOMPARE(iso(drives[0].clips[0].utc), QString("2017-06-15T12:00:00"));
        QCOMPARE(iso(drives[0].clips[1].utc), QString("2017-06-15T12:00:04"));
        // No clip tells the camera's offset: the machine's zone (UTC here).
        QVERIFY(drives[0].clips[0].zoneAssumed);
        QCOMPARE(iso(drives[0].clips[0].start), QString("2017-06-15T12:00:00"));
    }

    // The offset is the one most clips tell, to the quarter hour.
    void cameraOffsetFromMostClips()
    {
        QVector<trip::Clip> clips(4);
        const QDateTime utc(QDate(2024, 5, 14), QTime(12, 0), Qt::UTC);
        for (int i = 0; i < 3; ++i) {
            clips[i].utc = utc.addSecs(i * 60);
            clips[i].local = utc.addSecs(i * 60 + 2 * 3600 + (i == 2 ? 3 * 3600 : 7));
            clips[i].startFrom = "track";
        }
        clips[1].local = clips[1].utc.addSecs(2 * 3600 - 5);
        clips[3].utc = utc.addSecs(600);
        const trip::CameraClock clock = trip::cameraClock(clips);
        QVERIFY(!clock.assumed);
        QCOMPARE(clock.offsetSeconds, 2 * 3600);
        trip::placeOnClock(clips, clock);
        QCOMPARE(iso(clips[3].start), QString("2024-05-14T14:10:00"));
    }
};

QTEST_GUILESS_MAIN(ChannelsTest)
#include "tst_channels.moc"
