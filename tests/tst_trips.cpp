// Clips joined into drives: the recording time of each clip, velomar-track
// trip over folders of clips from every kind of track source, and export
// --trip read back by gpsbabel.

#include "embedgen.h"
#include "exporters.h"
#include "testutil.h"
#include "trip.h"
#include "videoinfoparse.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <cmath>
#include <sstream>

namespace {

Run tool(const QStringList &args)
{
    return run(VELOMAR_TRACK_TOOL, args);
}

QDateTime wall(int h, int m, int s, const QDate &date = QDate(2017, 6, 15))
{
    return QDateTime(date, QTime(h, m, s), Qt::UTC);
}

QString iso(const QDateTime &t)
{
    return t.toString("yyyy-MM-dd'T'hh:mm:ss");
}

// One point as read back: signed degrees, and the time where there is one.
struct Position
{
    double latitude;
    double longitude;
    QString time; // "yyyy-MM-ddThh:mm:ss" or empty
};

// gpsbabel's universal CSV, its columns found by their header.
QVector<Position> unicsvRows(const QByteArray &text)
{
    QVector<Position> rows;
    const QStringList lines = QString::fromUtf8(text).split('\n', Qt::SkipEmptyParts);
    if (lines.isEmpty())
        return rows;
    const QStringList header = lines.first().trimmed().split(',');
    const int lat = header.indexOf("Latitude");
    const int lon = header.indexOf("Longitude");
    const int date = header.indexOf("Date");
    const int time = header.indexOf("Time");
    for (int i = 1; i < lines.size(); ++i) {
        const QStringList f = lines[i].trimmed().split(',');
        Position p{f.value(lat).toDouble(), f.value(lon).toDouble(), QString()};
        if (date >= 0 && time >= 0 && !f.value(date).isEmpty())
            p.time = f.value(date).replace('/', '-') + 'T' + f.value(time);
        rows << p;
    }
    return rows;
}

// The groups of points gpsbabel found (track segments, tracks or routes), by
// their sizes in file order, from its own GPX.
QVector<int> groupSizes(const QByteArray &gpx)
{
    QVector<int> sizes;
    QXmlStreamReader xml(gpx);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("trkseg") || xml.name() == QLatin1String("rte"))
            sizes << 0;
        else if (xml.name() == QLatin1String("trkpt") || xml.name() == QLatin1String("rtept"))
            ++sizes.last();
    }
    if (xml.hasError())
        qWarning() << "gpsbabel's GPX:" << xml.errorString();
    return sizes;
}

QString gpsbabelPath()
{
    return QStandardPaths::findExecutable("gpsbabel");
}

// How gpsbabel takes each of our formats: a GPX track, KML tracks (one a
// placemark), GeoJSON routes (one a feature), CSV waypoints.
QStringList gpsbabelInput(const QString &format, const QString &file, QString kind = QString())
{
    if (kind.isEmpty())
        kind = format == "gpx" || format == "kml" ? "-t" : format == "geojson" ? "-r" : "-w";
    return {kind, "-i", format == "csv" ? "unicsv" : format, "-f", file};
}

QVector<trackgen::Fix> slice(const QVector<trackgen::Fix> &fixes, int from, int count)
{
    return fixes.mid(from, count);
}

// A clip and where its track is expected from.
struct Made
{
    QString path; // relative to the folder
    QString source;
    int first; // second of the route it starts at
    int seconds;
};

} // namespace

class TripsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    QString root;
    // 12:00:00 onwards on 2017-06-15, one fix a second.
    const QVector<trackgen::Fix> route = trackgen::drive(300, 22.543210, 113.941234, 12 * 3600);
    // In recording order: two drives, split by a gap of 121 s.
    QVector<QVector<Made>> expected;

    QString at(const QString &relative) const { return QDir(root).filePath(relative); }

    bool mkpath(const QString &relative) const { return QDir(root).mkpath(relative); }

    // A track file beside the clip: a camera's .info, NMEA .TXT or flat GPX.
    void sideClip(const QString &relative, const QString &kind, int first, int count)
    {
        const QString base = at(relative).chopped(4);
        const QVector<trackgen::Fix> fixes = slice(route, first, count);
        if (kind == "map") {
            QVERIFY(trackgen::writeText(base + ".GPX", trackgen::gpxDocument(fixes)));
        } else {
            QStringList lines;
            for (const trackgen::Fix &f : fixes)
                lines << (kind == "info" ? trackgen::infoLine(f) : trackgen::rmcLine(f));
            QVERIFY(trackgen::writeText(base + (kind == "info" ? ".info" : ".TXT"),
                                        lines.join('\n') + '\n'));
        }
        QString error;
        QVERIFY2(trackgen::makeClip(at(relative), count, QString(), &error), qPrintable(error));
    }

    void embeddedClip(const QString &relative, const QString &layout, int first, int count)
    {
        embedgen::Options options;
        options.layout = layout;
        options.date = "2017-06-15";
        QString error;
        QVERIFY2(embedgen::make(at(relative), slice(route, first, count), options, &error),
                 qPrintable(error));
    }

    // The valid samples the player reads for a clip, signed.
    QVector<Position> storePoints(const QString &path) const
    {
        VideoInfoParse store;
        QVector<Position> points;
        if (store.parseFile(path) != 0)
            return points;
        for (const VideoInfo *s : qAsConst(store.videoInfoMap)) {
            if (!s->valid)
                continue;
            // Without a date no time is written to GPX, nor read from CSV.
            const bool dated = s->date != "FFFF:FF:FF";
            points << Position{s->signedLatitude(), s->signedLongitude(),
                               dated ? QString(s->date).replace(':', '-') + 'T' + s->time
                                     : QString()};
        }
        return points;
    }

    QVector<QVector<Position>> expectedSegments() const
    {
        QVector<QVector<Position>> segments;
        for (const QVector<Made> &drive : expected)
            for (const Made &m : drive)
                if (!m.source.isEmpty())
                    segments << storePoints(at(m.path));
        return segments;
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(!gpsbabelPath().isEmpty(), "gpsbabel is missing (bash scripts/install-deps.sh)");
        QVERIFY(dir.isValid());
        root = QFileInfo(dir.path()).canonicalFilePath() + "/clips";
        for (const char *folder : {"sub/deeper/DCIM", "link", "other"})
            QVERIFY(mkpath(folder));

        // Names that sort against their recording order, in nested folders.
        const QVector<Made> first{
            {"zz_first.MP4", "info", 0, 5},
            // The reader keeps no date from NMEA lines: placed by the name
            // these cameras give their clips.
            {"sub/deeper/DCIM/NO20170615-120005-000002F.MP4", "nmea", 5, 4},
            // No track and no container time: placed by its name.
            {"sub/20170615_120010.MP4", "", 10, 3},
            {"sub/aa_novatek.MP4", "novatek", 14, 4},
            // 120 s after the last clip's end: still the same drive.
            {"other/GX010001.MP4", "gpmf", 138, 3},
        };
        const QVector<Made> second{
            // 121 s after: a new drive.
            {"sub/b_second.MP4", "info", 262, 4},
            {"REC_2017-06-15_12-04-26.MP4", "nmea", 266, 4},
            // A camera's GPX, converted on the first lookup into a .map that
            // keeps no date either.
            {"sub/deeper/2017_0615_120430.MP4", "map", 270, 4},
        };
        expected = {first, second};
        for (const QVector<Made> &drive : qAsConst(expected)) {
            for (const Made &m : drive) {
                if (m.source == "info" || m.source == "nmea" || m.source == "map")
                    sideClip(m.path, m.source, m.first, m.seconds);
                else if (m.source.isEmpty())
                    QVERIFY(trackgen::makeClip(at(m.path), m.seconds));
                else
                    embeddedClip(m.path, m.source, m.first, m.seconds);
            }
        }
        // The first clip again, through a link that sorts before it.
        QVERIFY(QFile::link(at("zz_first.MP4"), at("link/again.MP4")));
        // Not videos.
        QVERIFY(trackgen::writeText(at("sub/notes.txt"), "20170615_130000\n"));
        QVERIFY(trackgen::writeText(at("sub/20170615_130000.jpg"), "x"));
    }

    void timeFromName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QDateTime>("time");
        const QDateTime t = wall(12, 0, 1, QDate(2023, 5, 14));
        QTest::newRow("yyyyMMdd_hhmmss") << "20230514_120001.MP4" << t;
        QTest::newRow("yyyy_MMdd_hhmmss") << "2023_0514_120001.MP4" << t;
        QTest::newRow("yyyyMMddhhmmss") << "20230514120001.MP4" << t;
        QTest::newRow("REC_ dashes") << "REC_2023-05-14_12-00-01.MP4" << t;
        QTest::newRow("rec_ lower case") << "rec_2023-05-14_12-00-01.mp4" << t;
        QTest::newRow("T") << "20230514T120001.MOV" << t;
        QTest::newRow("t") << "20230514t120001.mov" << t;
        QTest::newRow("prefix and counter") << "NO20230514-120001-000123F.MP4" << t;
        QTest::newRow("space and dots") << "2023-05-14 12.00.01.avi" << t;
        QTest::newRow("in a path") << "/media/cam/DCIM/20230514_120001_R.MP4" << t;
        QTest::newRow("midnight") << "20231231_000000.MP4"
                                  << QDateTime(QDate(2023, 12, 31), QTime(0, 0), Qt::UTC);

        const QDateTime none;
        QTest::newRow("counter") << "GX010042.MP4" << none;
        QTest::newRow("short counter") << "IMG_1234.MP4" << none;
        QTest::newRow("year 1234") << "12345678901234.MP4" << none;
        QTest::newRow("month 13") << "20231345_120000.MP4" << none;
        QTest::newRow("30 February") << "20230230_120000.MP4" << none;
        QTest::newRow("hour 24") << "20230514_240000.MP4" << none;
        QTest::newRow("minute 60") << "20230514_126000.MP4" << none;
        QTest::newRow("no seconds") << "20230514_1200.MP4" << none;
        QTest::newRow("15 digits") << "202305141200011.MP4" << none;
        QTest::newRow("two separators") << "2023--05-14_12-00-01.MP4" << none;
        QTest::newRow("date in the folder only") << "/x/20230514_120001/clip.MP4" << none;
        QTest::newRow("empty") << "" << none;
    }
    void timeFromName()
    {
        QFETCH(QString, name);
        QFETCH(QDateTime, time);
        const QDateTime found = trip::timeFromName(name);
        QCOMPARE(found.isValid(), time.isValid());
        if (time.isValid()) {
            QCOMPARE(found, time);
            QCOMPARE(iso(found), iso(time));
        }
    }

    void findVideosOnce()
    {
        const QStringList videos =
            trip::findVideos({root, at("sub"), at("zz_first.MP4"), at("link/again.MP4")});
        QCOMPARE(videos.size(), expected[0].size() + expected[1].size());
        QCOMPARE(QSet<QString>(videos.cbegin(), videos.cend()).size(), videos.size());
        for (const QString &v : videos)
            QVERIFY2(!v.endsWith(".jpg") && !v.endsWith(".txt"), qPrintable(v));
        // The link and its target are one video, kept under the path its
        // side files are beside.
        QVERIFY(videos.contains(at("zz_first.MP4")));
        QVERIFY(!videos.contains(at("link/again.MP4")));
    }

    void clipStarts()
    {
        trip::Clip c = trip::readClip(at("zz_first.MP4"));
        QCOMPARE(c.startFrom, QString("track"));
        QCOMPARE(c.start, wall(12, 0, 0));
        QCOMPARE(c.seconds, 5);
        QCOMPARE(c.source, QString("info"));
        QCOMPARE(c.points.size(), 5);
        QCOMPARE(c.end(), wall(12, 0, 5));

        c = trip::readClip(at("sub/aa_novatek.MP4"));
        QCOMPARE(c.startFrom, QString("track"));
        QCOMPARE(c.start, wall(12, 0, 14));
        QCOMPARE(c.source, QString("novatek"));

        c = trip::readClip(at("sub/20170615_120010.MP4"));
        QCOMPARE(c.startFrom, QString("name"));
        QCOMPARE(c.start, wall(12, 0, 10));
        QCOMPARE(c.seconds, 3); // the video's length
        QCOMPARE(c.source, QString());
        QVERIFY(c.points.isEmpty());

        // Nothing but the file: its modification time is the recording's end.
        QTemporaryDir other;
        const QString plain = QDir(other.path()).filePath("plain.MP4");
        QVERIFY(trackgen::makeClip(plain, 4));
        QFile file(plain);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::LocalTime),
                                 QFileDevice::FileModificationTime));
        file.close();
        c = trip::readClip(plain);
        QCOMPARE(c.startFrom, QString("file"));
        QCOMPARE(c.start, wall(3, 4, 1, QDate(2020, 1, 2)));
        QCOMPARE(c.seconds, 4);
    }

    void tripJson()
    {
        // The folder, a subfolder of it, a file in it and a link to that
        // file: each clip once.
        const Run r = tool({"trip", at("link"), root, at("sub"), at("zz_first.MP4")});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(r.out, &error);
        QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
        QCOMPARE(doc.object().keys(), QStringList{"trips"});
        const QJsonArray trips = doc.object()["trips"].toArray();
        QVERIFY2(trips.size() == expected.size(), r.out.constData());

        const QStringList tripKeys{"clips", "distance_km", "end", "max_speed", "start"};
        const QStringList clipKeys{"channels", "kind", "path", "seconds", "source", "start", "utc"};
        for (int i = 0; i < trips.size(); ++i) {
            const QJsonObject t = trips[i].toObject();
            QCOMPARE(t.keys(), tripKeys);
            const QVector<Made> &drive = expected[i];
            const QJsonArray clips = t["clips"].toArray();
            QCOMPARE(clips.size(), drive.size());

            double km = 0.0;
            double kmOfRoute = 0.0;
            double top = 0.0;
            double topOfRoute = 0.0;
            for (int j = 0; j < clips.size(); ++j) {
                const QJsonObject c = clips[j].toObject();
                const Made &m = drive[j];
                QCOMPARE(c.keys(), clipKeys);
                QCOMPARE(c["path"].toString(), at(m.path));
                QCOMPARE(c["start"].toString(), iso(wall(12, 0, 0).addSecs(m.first)));
                // The NMEA clips' names and fixes agree: the camera's clock is UTC.
                QCOMPARE(c["utc"].toString(), c["start"].toString() + 'Z');
                QCOMPARE(c["kind"].toString(), QString("normal"));
                const QJsonArray channels = c["channels"].toArray();
                QCOMPARE(channels.size(), 1);
                QCOMPARE(channels[0].toObject()["name"].toString(), QString("front"));
                QCOMPARE(channels[0].toObject()["path"].toString(), at(m.path));
                QCOMPARE(c["seconds"].toInt(), m.seconds);
                QCOMPARE(c["source"].toString(), m.source);
                if (m.source.isEmpty())
                    continue;
                VideoInfoParse store;
                QCOMPARE(store.parseFile(at(m.path)), 0);
                QVERIFY(store.totalDistance > 0.0);
                km += store.totalDistance;
                top = std::max(top, store.maxSpeed);
                const QVector<trackgen::Fix> fixes = slice(route, m.first, m.seconds);
                for (int k = 0; k < fixes.size(); ++k) {
                    topOfRoute = std::max(topOfRoute, fixes[k].speedKmh);
                    // The generator moves speed / 3.6 m from one fix to the next.
                    if (k + 1 < fixes.size())
                        kmOfRoute += fixes[k].speedKmh / 3600.0;
                }
            }
            const Made &last = drive.last();
            QCOMPARE(t["start"].toString(), iso(wall(12, 0, 0).addSecs(drive.first().first)));
            QCOMPARE(t["end"].toString(), iso(wall(12, 0, 0).addSecs(last.first + last.seconds)));
            QVERIFY2(std::fabs(t["distance_km"].toDouble() - km) < 1e-9,
                     qPrintable(QString::number(t["distance_km"].toDouble(), 'g', 17)));
            QCOMPARE(t["max_speed"].toDouble(), top);
            // Knots in the NMEA lines, float fields inside videos.
            QVERIFY2(std::fabs(top - topOfRoute) < 0.01, qPrintable(QString::number(top)));
            // Within the clips only: the gaps between them are not driven.
            QVERIFY2(std::fabs(km - kmOfRoute) < 0.01 * kmOfRoute,
                     qPrintable(QString("%1 against %2").arg(km).arg(kmOfRoute)));
        }
    }

    void tripOfNothing()
    {
        QTemporaryDir empty;
        QVERIFY(trackgen::writeText(QDir(empty.path()).filePath("readme.txt"), "x"));
        Run r = tool({"trip", empty.path()});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(QJsonDocument::fromJson(r.out).object()["trips"].toArray().size(), 0);

        r = tool({"export", "--trip", empty.path(), "--format", "gpx"});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains("no usable track"));
        QVERIFY(r.out.isEmpty());
    }

    void badArguments_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("trip without paths") << QStringList{"trip"};
        QTest::newRow("trip of a missing path") << QStringList{"trip", "/nonexistent/clips"};
        QTest::newRow("export --trip without paths")
            << QStringList{"export", "--trip", "--format", "gpx"};
        QTest::newRow("export --trip without format") << QStringList{"export", "--trip", "/tmp"};
        QTest::newRow("export --trip unknown format")
            << QStringList{"export", "--trip", "/tmp", "--format", "shp"};
        QTest::newRow("export --trip unknown option")
            << QStringList{"export", "--trip", "/tmp", "--format", "gpx", "--fast"};
    }
    void badArguments()
    {
        QFETCH(QStringList, args);
        const Run r = tool(args);
        QCOMPARE(r.exitCode, 2);
        QVERIFY(!r.err.isEmpty());
        QVERIFY(r.out.isEmpty());
    }

    void help()
    {
        const Run r = tool({"--help"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains("velomar-track trip PATH..."));
        QVERIFY(r.out.contains(
            "velomar-track export --trip PATH... --format gpx|csv|geojson|kml [-o FILE]"));
    }

    void exportTrip_data()
    {
        QTest::addColumn<QString>("format");
        for (const char *f : {"gpx", "kml", "geojson", "csv"})
            QTest::newRow(f) << QString(f);
    }
    void exportTrip()
    {
        QFETCH(QString, format);
        QTemporaryDir outDir;
        const QString file = QDir(outDir.path()).filePath("trip." + format);
        const Run r = tool({"export", "--trip", root, "--format", format, "-o", file});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        QVERIFY(r.out.isEmpty());

        const QVector<QVector<Position>> segments = expectedSegments();
        QCOMPARE(segments.size(), 7); // every clip with a track
        QVector<Position> points;
        QVector<int> sizes;
        for (const QVector<Position> &s : segments) {
            QVERIFY(s.size() >= 3);
            points += s;
            sizes << s.size();
        }

        // Every point, in recording order, as gpsbabel reads it.
        const Run csv = run(gpsbabelPath(),
                            gpsbabelInput(format, file) + QStringList{"-o", "unicsv", "-F", "-"});
        QVERIFY2(csv.exitCode == 0, csv.err.constData());
        const QVector<Position> rows = unicsvRows(csv.out);
        QCOMPARE(rows.size(), points.size());
        for (int i = 0; i < rows.size(); ++i) {
            QVERIFY2(std::fabs(rows[i].latitude - points[i].latitude) < 1e-6,
                     qPrintable(QString::number(i)));
            QVERIFY2(std::fabs(rows[i].longitude - points[i].longitude) < 1e-6,
                     qPrintable(QString::number(i)));
            // KML lines carry no times of their own.
            if (format == "gpx" || format == "csv")
                QCOMPARE(rows[i].time, points[i].time);
        }

        // One group a clip where the format has them.
        if (format != "csv") {
            const Run gpx = run(gpsbabelPath(),
                                gpsbabelInput(format, file) + QStringList{"-o", "gpx", "-F", "-"});
            QVERIFY2(gpx.exitCode == 0, gpx.err.constData());
            QCOMPARE(groupSizes(gpx.out), sizes);
        }
    }

    void exportTripNamesTheClips()
    {
        const QStringList names{
            "zz_first.MP4", "NO20170615-120005-000002F.MP4", "aa_novatek.MP4",      "GX010001.MP4",
            "b_second.MP4", "REC_2017-06-15_12-04-26.MP4",   "2017_0615_120430.MP4"};
        // GPX: the clip in each segment's extensions.
        Run r = tool({"export", "--trip", root, "--format", "gpx"});
        QCOMPARE(r.exitCode, 0);
        QStringList found;
        int tracks = 0;
        QXmlStreamReader xml(r.out);
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            if (xml.name() == QLatin1String("trk"))
                ++tracks;
            else if (xml.qualifiedName() == QLatin1String("vm:clip"))
                found << xml.readElementText();
        }
        QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
        QCOMPARE(tracks, 1);
        QCOMPARE(found, names);

        // KML: a placemark a clip, named by it.
        r = tool({"export", "--trip", root, "--format", "kml"});
        QCOMPARE(r.exitCode, 0);
        found.clear();
        QXmlStreamReader kml(r.out);
        bool inPlacemark = false;
        while (!kml.atEnd()) {
            kml.readNext();
            if (kml.isStartElement() && kml.name() == QLatin1String("Placemark"))
                inPlacemark = true;
            else if (kml.isStartElement() && kml.name() == QLatin1String("name") && inPlacemark) {
                found << kml.readElementText();
                inPlacemark = false;
            }
        }
        QVERIFY2(!kml.hasError(), qPrintable(kml.errorString()));
        QCOMPARE(found, names);

        // GeoJSON: a feature a clip.
        r = tool({"export", "--trip", root, "--format", "geojson"});
        QCOMPARE(r.exitCode, 0);
        found.clear();
        const QJsonArray features = QJsonDocument::fromJson(r.out).object()["features"].toArray();
        for (const QJsonValue &f : features) {
            found << f["properties"]["name"].toString();
            QCOMPARE(f["geometry"]["type"].toString(), QString("LineString"));
        }
        QCOMPARE(found, names);

        // CSV: the clip column.
        r = tool({"export", "--trip", root, "--format", "csv"});
        QCOMPARE(r.exitCode, 0);
        const QStringList lines = QString::fromUtf8(r.out).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.first(), QString("clip,second,date,time,latitude,longitude,speed_kmh"));
        found.clear();
        for (int i = 1; i < lines.size(); ++i) {
            const QString clip = lines[i].section(',', 0, 0);
            if (found.isEmpty() || found.last() != clip)
                found << clip;
        }
        QCOMPARE(found, names);
        const QStringList row = lines[1].split(',');
        QCOMPARE(row.mid(0, 4), (QStringList{"zz_first.MP4", "0", "2017-06-15", "12:00:00"}));
        QCOMPARE(row[4].toDouble(), QString::number(route[0].latitude, 'f', 6).toDouble());
        QCOMPARE(row[5].toDouble(), QString::number(route[0].longitude, 'f', 6).toDouble());
        QCOMPARE(row[6].toDouble(), QString::number(route[0].speedKmh, 'f', 2).toDouble());
    }

    // The writer on its own: clips without points, a one-point clip, names
    // that need quoting.
    void segmentsAtTheEdges()
    {
        VideoInfo a;
        a.date = "2017:06:15";
        a.time = "12:00:00";
        a.latitude = 33.5;
        a.isNorth = 0;
        a.longitude = 70.25;
        a.isEast = 0;
        a.speed = 12.5;
        a.valid = 1;
        VideoInfo b = a;
        b.time = "12:00:01";
        b.latitude = 33.6;
        VideoInfo c = a;
        c.date = "FFFF:FF:FF";
        c.isNorth = 1;
        c.isEast = 1;
        const QVector<exporters::Segment> segments{
            {"a,\"b\" <&>.MP4", {{0, &a}, {1, &b}}},
            {"empty.MP4", {}},
            {"one.MP4", {{7, &c}}},
        };
        auto text = [&](const QString &format) {
            std::ostringstream os;
            exporters::writeSegments(format, "T & t", segments, os);
            return QByteArray::fromStdString(os.str());
        };

        const QByteArray csv = text("csv");
        QCOMPARE(csv, QByteArray("clip,second,date,time,latitude,longitude,speed_kmh\n"
                                 "\"a,\"\"b\"\" <&>.MP4\",0,2017-06-15,12:00:00,-33.5,-70.25,12.5\n"
                                 "\"a,\"\"b\"\" <&>.MP4\",1,2017-06-15,12:00:01,-33.6,-70.25,12.5\n"
                                 "one.MP4,7,,12:00:00,33.5,70.25,12.5\n"));

        const QByteArray gpx = text("gpx");
        QCOMPARE(gpx.count("<trkseg>"), 2);
        QVERIFY(gpx.contains("<vm:clip>a,&quot;b&quot; &lt;&amp;&gt;.MP4</vm:clip>"));
        QVERIFY(!gpx.contains("empty.MP4"));
        QVERIFY(gpx.contains("<name>T &amp; t</name>"));

        const QJsonObject geo = QJsonDocument::fromJson(text("geojson")).object();
        const QJsonArray features = geo["features"].toArray();
        QCOMPARE(features.size(), 2);
        QCOMPARE(features[0]["properties"]["name"].toString(), QString("a,\"b\" <&>.MP4"));
        QCOMPARE(features[1]["geometry"]["type"].toString(), QString("Point"));
        QCOMPARE(features[1]["geometry"]["coordinates"].toArray(), (QJsonArray{70.25, 33.5}));
        QCOMPARE(features[1]["properties"]["seconds"].toArray(), QJsonArray{7});

        const QByteArray kml = text("kml");
        QCOMPARE(kml.count("<Placemark>"), 2);
        QCOMPARE(kml.count("<LineString>"), 1);
        QVERIFY(kml.contains("<Point><coordinates>70.25,33.5</coordinates></Point>"));
        QVERIFY(kml.contains("<TimeSpan><begin>2017-06-15T12:00:00</begin>"
                             "<end>2017-06-15T12:00:01</end></TimeSpan>"));

        // All four well-formed, and every point read back.
        QTemporaryDir outDir;
        for (const QString format : {"gpx", "kml", "geojson", "csv"}) {
            const QString file = QDir(outDir.path()).filePath("edges." + format);
            QFile f(file);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(text(format));
            f.close();
            int points = 0;
            // The one-point clip is a waypoint in KML and GeoJSON.
            QStringList kinds{gpsbabelInput(format, file).first()};
            if (format == "kml" || format == "geojson")
                kinds << "-w";
            for (const QString &kind : qAsConst(kinds)) {
                const Run r = run(gpsbabelPath(), gpsbabelInput(format, file, kind) +
                                                      QStringList{"-o", "unicsv", "-F", "-"});
                QVERIFY2(r.exitCode == 0, r.err.constData());
                points += unicsvRows(r.out).size();
            }
            QVERIFY2(points == 3, qPrintable(format + ": " + QString::number(points)));
        }
    }
};

QTEST_GUILESS_MAIN(TripsTest)
#include "tst_trips.moc"
