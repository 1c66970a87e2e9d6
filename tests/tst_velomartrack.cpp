// The velomar-track command, run as a user runs it.

#include "testutil.h"
#include "videoinfoparse.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QXmlStreamReader>

namespace {

Run run(const QStringList &args)
{
    return ::run(VELOMAR_TRACK_TOOL, args, 60000);
}

QJsonObject dump(const QString &video, int expectedExit = 0)
{
    const Run r = run({"dump", video});
    if (r.exitCode != expectedExit)
        qWarning() << "exit" << r.exitCode << r.err;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(r.out, &error);
    if (error.error != QJsonParseError::NoError)
        qWarning() << "not JSON:" << error.errorString() << r.out.left(200);
    return doc.object();
}

// The store as the player fills it, for comparison with the dump.
void compareWithStore(const QJsonObject &json, const QString &video)
{
    VideoInfoParse store;
    const int result = store.parseFile(video);
    QCOMPARE(json["result"].toInt(), result);
    QCOMPARE(json["isParsed"].toInt(), store.isParsed);
    QCOMPARE(json["count"].toInt(), store.count);
    QCOMPARE(json["maxSpeed"].toDouble(), store.maxSpeed);
    QCOMPARE(json["avgSpeed"].toDouble(), store.avgSpeed);
    QCOMPARE(json["totalDistance"].toDouble(), store.totalDistance);
    const QJsonArray samples = json["samples"].toArray();
    QCOMPARE(samples.size(), store.videoInfoMap.size());
    int i = 0;
    for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it, ++i) {
        const QJsonObject o = samples[i].toObject();
        const VideoInfo &v = *it.value();
        QCOMPARE(o["second"].toInt(), it.key());
        QCOMPARE(o["date"].toString(), v.date);
        QCOMPARE(o["time"].toString(), v.time);
        QCOMPARE(o["latitude"].toDouble(), v.latitude); // exact: shortest round-trip form
        QCOMPARE(o["longitude"].toDouble(), v.longitude);
        QCOMPARE(o["speed"].toDouble(), v.speed);
        QCOMPARE(o["isNorth"].toInt(), v.isNorth);
        QCOMPARE(o["isEast"].toInt(), v.isEast);
        QCOMPARE(o["valid"].toInt(), v.valid);
    }
}

QStringList rmcLines(const QVector<trackgen::Fix> &drive)
{
    QStringList lines;
    for (const trackgen::Fix &f : drive)
        lines << trackgen::rmcLine(f);
    return lines;
}

} // namespace

class VelomarTrackTest : public QObject
{
    Q_OBJECT

private slots:
    void help()
    {
        const Run r = run({"--help"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains("velomar-track dump VIDEO"));
        QVERIFY(
            r.out.contains("velomar-track export VIDEO --format gpx|csv|geojson|kml [-o FILE]"));
    }

    void badArguments_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("nothing") << QStringList();
        QTest::newRow("unknown command") << QStringList{"show", "x"};
        QTest::newRow("dump without video") << QStringList{"dump"};
        QTest::newRow("export without format") << QStringList{"export", VELOMAR_TRACK_TOOL};
        QTest::newRow("export unknown format")
            << QStringList{"export", VELOMAR_TRACK_TOOL, "--format", "shp"};
    }
    void badArguments()
    {
        QFETCH(QStringList, args);
        const Run r = run(args);
        QCOMPARE(r.exitCode, 2);
        QVERIFY(!r.err.isEmpty());
        QVERIFY(r.out.isEmpty());
    }

    void notAFile()
    {
        Scratch s;
        for (const QString &path : {s.path("missing.MP4"), s.path("")}) {
            const Run r = run({"dump", path});
            QCOMPARE(r.exitCode, 2);
            QCOMPARE(r.err.count('\n'), 1);
            QVERIFY(r.err.contains("not a file"));
            QVERIFY(r.out.isEmpty());
        }
    }

    void dumpOfEachSource()
    {
        Scratch s;
        const QVector<trackgen::Fix> drive = trackgen::drive(20, -33.8688, -70.6693);
        QStringList info;
        QStringList converted;
        for (const trackgen::Fix &f : drive) {
            info << trackgen::infoLine(f);
            converted << trackgen::convertedLine(f);
        }
        s.lines("a.info", info);
        s.lines("b.TXT", rmcLines(drive));
        s.lines("c.map", converted);
        s.bytes("d.GPX", trackgen::gpxDocument(drive).toUtf8());
        QVERIFY(trackgen::writeText(s.path("e.srt"), trackgen::srtDocument(rmcLines(drive))));
        for (const char *name : {"a.MP4", "b.MP4", "c.MP4", "d.MP4", "f.MP4"})
            QVERIFY(trackgen::makeClip(s.path(name), 1));
        QVERIFY(trackgen::makeClip(s.path("e.MP4"), 20, s.path("e.srt")));

        for (const char *name : {"a.MP4", "b.MP4", "c.MP4"}) {
            const QJsonObject json = dump(s.path(name));
            QCOMPARE(json["result"].toInt(), 0);
            QCOMPARE(json["count"].toInt(), 20);
            compareWithStore(json, s.path(name));
        }

        // GPX: converted on the first lookup, read from the second.
        QJsonObject json = dump(s.path("d.MP4"));
        QCOMPARE(json["result"].toInt(), -1);
        QCOMPARE(json["isParsed"].toInt(), 0);
        json = dump(s.path("d.MP4"));
        QCOMPARE(json["result"].toInt(), 0);
        compareWithStore(json, s.path("d.MP4"));

        // Subtitle stream: the dump runs the lookup once, side effects included.
        json = dump(s.path("e.MP4"));
        QCOMPARE(json["result"].toInt(), 0);
        QCOMPARE(json["count"].toInt(), 20);
        QVERIFY(s.exists("e.map"));
        QVERIFY(s.exists("e.srt")); // the user's own subtitles, left as they are
        compareWithStore(json, s.path("e.MP4"));

        // No track: the result and an empty store.
        json = dump(s.path("f.MP4"));
        QCOMPARE(json["result"].toInt(), -1);
        QCOMPARE(json["count"].toInt(), 0);
        QCOMPARE(json["samples"].toArray().size(), 0);
    }

    void dumpPrintsSamplesOfAFailedParse()
    {
        Scratch s;
        s.lines("clip.TXT", {"B,1,120000,22.5,N,113.9,E,30", "junk", "junk"});
        s.bytes("clip.MP4", "not really a video");
        const QJsonObject json = dump(s.path("clip.MP4"));
        QCOMPARE(json["result"].toInt(), -1);
        QCOMPARE(json["isParsed"].toInt(), 0);
        QCOMPARE(json["samples"].toArray().size(), 3);
        QCOMPARE(json["samples"].toArray()[1].toObject()["date"].toString(), QString("FFFF:FF:FF"));
    }

    void dumpWritesNonFiniteAsNull()
    {
        Scratch s;
        s.lines("clip.map", {"B,1,120000,nan,N,1,E,inf", "B,1,120001,2,N,1,E,3"});
        s.bytes("clip.MP4", "x");
        const Run r = run({"dump", s.path("clip.MP4")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains("\"latitude\": null"));
        QVERIFY(r.out.contains("\"maxSpeed\": null"));
        QJsonParseError error;
        QJsonDocument::fromJson(r.out, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
    }

    void exportCsvSignsByHemisphere()
    {
        Scratch s;
        s.lines(
            "clip.TXT",
            {"$GPRMC,120000,A,3352.128,S,07040.158,W,10.0,0,150617,,*" +
                 trackgen::nmeaChecksum("GPRMC,120000,A,3352.128,S,07040.158,W,10.0,0,150617,,"),
             "B,1,120001,33.87,N,70.67,E,20", "junk", "B,1,120003,33.88,S,70.68,W,40"});
        s.bytes("clip.MP4", "x");
        const Run r = run({"export", s.path("clip.MP4"), "--format", "csv"});
        QCOMPARE(r.exitCode, 0);
        const QStringList rows = QString::fromUtf8(r.out).trimmed().split('\n');
        QCOMPARE(rows.size(), 4); // header and the three valid samples
        QCOMPARE(rows[0], QString("second,date,time,latitude,longitude,speed_kmh"));
        const QStringList first = rows[1].split(',');
        QCOMPARE(first[0], QString("0"));
        QCOMPARE(first[2], QString("12:00:00"));
        QCOMPARE(first[3].toDouble(), -VideoInfoParse::DDTran(3352.128));
        QCOMPARE(first[4].toDouble(), -VideoInfoParse::DDTran(7040.158));
        QCOMPARE(first[5].toDouble(), 10.0 * 1.85);
        QCOMPARE(rows[2].split(',')[3], QString("33.87"));
        QCOMPARE(rows[3], QString("3,,12:00:03,-33.88,-70.68,40"));
    }

    void exportFormats()
    {
        Scratch s;
        const QVector<trackgen::Fix> drive = trackgen::drive(10);
        QStringList info;
        for (const trackgen::Fix &f : drive)
            info << trackgen::infoLine(f);
        s.lines("clip.info", info);
        s.bytes("clip.MP4", "x");

        // GPX, to a file.
        Run r = run({"export", s.path("clip.MP4"), "--format", "gpx", "-o", s.path("out.gpx")});
        QCOMPARE(r.exitCode, 0);
        QXmlStreamReader gpx(trackgen::readText(s.path("out.gpx")));
        int points = 0;
        QStringList times;
        while (!gpx.atEnd()) {
            if (gpx.readNext() == QXmlStreamReader::StartElement) {
                if (gpx.name() == QLatin1String("trkpt")) {
                    QCOMPARE(gpx.attributes().value("lat").toDouble(),
                             QString::number(drive[points].latitude, 'f', 6).toDouble());
                    ++points;
                } else if (gpx.name() == QLatin1String("time")) {
                    times << gpx.readElementText();
                } else if (gpx.name() == QLatin1String("speed")) {
                    // Knots converted: no more decimals than the metre an hour.
                    const QString speed = gpx.readElementText();
                    QVERIFY2(speed.indexOf('.') < 0 || speed.size() - speed.indexOf('.') <= 4,
                             qPrintable(speed));
                    QVERIFY(std::abs(speed.toDouble() - drive[points - 1].speedKmh) < 0.01);
                }
            }
        }
        QVERIFY2(!gpx.hasError(), qPrintable(gpx.errorString()));
        QCOMPARE(points, 10);
        // UTC, said so.
        QCOMPARE(times.first(), "2017-06-15T" + trackgen::hhmmss(drive[0].secondOfDay, ":") + 'Z');

        // GeoJSON.
        r = run({"export", s.path("clip.MP4"), "--format", "geojson"});
        QCOMPARE(r.exitCode, 0);
        const QJsonObject geo = QJsonDocument::fromJson(r.out).object();
        const QJsonObject feature = geo["features"].toArray()[0].toObject();
        const QJsonArray coords = feature["geometry"].toObject()["coordinates"].toArray();
        QCOMPARE(coords.size(), 10);
        QCOMPARE(coords[3].toArray()[0].toDouble(),
                 QString::number(drive[3].longitude, 'f', 6).toDouble());
        QCOMPARE(coords[3].toArray()[1].toDouble(),
                 QString::number(drive[3].latitude, 'f', 6).toDouble());
        const QJsonArray speeds = feature["properties"].toObject()["speed_kmh"].toArray();
        QCOMPARE(speeds[3].toDouble(), QString::number(drive[3].speedKmh, 'f', 2).toDouble());

        // KML.
        r = run({"export", s.path("clip.MP4"), "--format", "kml"});
        QCOMPARE(r.exitCode, 0);
        QXmlStreamReader kml(r.out);
        int placemarks = 0;
        while (!kml.atEnd())
            if (kml.readNext() == QXmlStreamReader::StartElement &&
                kml.name() == QLatin1String("Placemark"))
                ++placemarks;
        QVERIFY2(!kml.hasError(), qPrintable(kml.errorString()));
        QCOMPARE(placemarks, 11); // the route and one a sample
    }

    void exportReadsAFreshlyConvertedGpx()
    {
        Scratch s;
        s.bytes("clip.GPX", trackgen::gpxDocument(trackgen::drive(5)).toUtf8());
        s.bytes("clip.MP4", "x");
        const Run r = run({"export", s.path("clip.MP4"), "--format", "csv"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(QString::fromUtf8(r.out).trimmed().split('\n').size(), 6);
    }

    void exportWithoutTrack()
    {
        Scratch s;
        QVERIFY(trackgen::makeClip(s.path("clip.MP4"), 1));
        const Run r =
            run({"export", s.path("clip.MP4"), "--format", "gpx", "-o", s.path("out.gpx")});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains("no usable track"));
        QVERIFY(!s.exists("out.gpx"));
    }
};

QTEST_GUILESS_MAIN(VelomarTrackTest)
#include "tst_velomartrack.moc"
