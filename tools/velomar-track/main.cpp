// velomar-track: the player's track lookup for one video, from the command
// line. "dump" shows the store as the player sees it; "export" writes the
// valid samples in common formats; "trip" joins clips into drives.

#include "embedded/telemetry.h"
#include "exporters.h"
#include "jsonwriter.h"
#include "moments.h"
#include "trip.h"
#include "videoinfoparse.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSaveFile>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>

namespace {

const char *usage =
    "Usage:\n"
    "  velomar-track dump VIDEO\n"
    "      Looks up the track of VIDEO exactly as the player does (this may write\n"
    "      a .map file beside it) and prints the store as one JSON object:\n"
    "      result, source, clock, isParsed, count, maxSpeed, avgSpeed (km/h),\n"
    "      totalDistance (km) and every sample by second, also when the lookup\n"
    "      failed. source is one of info, nmea, map, gpx, subtitle, or the layout\n"
    "      inside the video (see formats); clock says which clock the samples'\n"
    "      times read where the video knows: utc, local or camera.\n"
    "  velomar-track export VIDEO --format gpx|csv|geojson|kml [-o FILE]\n"
    "      Writes the valid samples with signed coordinates, the time and the\n"
    "      speed in km/h, to FILE or to standard output.\n"
    "  velomar-track trip PATH...\n"
    "      Finds the videos (.mp4, .mov, .avi) among the files and in the folders\n"
    "      with their subfolders, each once, reads each one's track, puts them in\n"
    "      the order they were recorded and joins into one drive the clips at\n"
    "      most 120 s apart. Prints {\"trips\": [{start, end, distance_km,\n"
    "      max_speed (km/h), clips: [{path, start, seconds, source}]}]}, times as\n"
    "      yyyy-MM-ddThh:mm:ss on the camera's clock; source is \"\" for a clip\n"
    "      without a track. A clip starts at its track's first dated fix, else at\n"
    "      the date and time in its file name, its container's creation time, or\n"
    "      its file's modification time less its length.\n"
    "  velomar-track export --trip PATH... --format gpx|csv|geojson|kml [-o FILE]\n"
    "      Writes the clips of those drives in one file, in recording order: one\n"
    "      GPX track with a segment a clip, a KML placemark a clip, a GeoJSON\n"
    "      feature a clip, or CSV rows with the clip's file name first.\n"
    "  velomar-track formats\n"
    "      Lists the layouts of GPS inside videos that are read, by source name.\n"
    "  velomar-track --help\n"
    "\n"
    "Track sources beside VIDEO, first found wins: NAME.info, NAME.TXT, NAME.map,\n"
    "NAME.GPX, a DJI flight record NAME.SRT, the track inside the video in one of\n"
    "the cameras' layouts, else the video's first subtitle stream. A ...B video without a\n"
    "track borrows the track of its ...A twin.\n"
    "Exit status: 0 done, 1 the output could not be written, 2 bad arguments or no track.\n"
    "Set VELOMAR_DEBUG=1 to see the readers' debug messages.\n";

int fail(const QString &message)
{
    std::cerr << "velomar-track: " << message.toStdString() << '\n';
    return 2;
}

void quietDebug(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    std::cerr << message.toStdString() << '\n';
}

// Written a sample at a time: a day-long store is tens of megabytes of JSON.
void dumpJson(int result, const VideoInfoParse &store, std::ostream &os)
{
    os << "{\"result\": " << result << ", \"source\": " << out::jsonString(store.source)
       << ", \"clock\": " << out::jsonString(store.clock) << ", \"isParsed\": " << store.isParsed
       << ", \"count\": " << store.count << ", \"maxSpeed\": " << out::number(store.maxSpeed)
       << ", \"avgSpeed\": " << out::number(store.avgSpeed)
       << ", \"totalDistance\": " << out::number(store.totalDistance) << ", \"samples\": [";
    bool first = true;
    for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it) {
        const VideoInfo &s = *it.value();
        os << (first ? "" : ", ") << "{\"second\": " << it.key()
           << ", \"date\": " << out::jsonString(s.date) << ", \"time\": " << out::jsonString(s.time)
           << ", \"latitude\": " << out::number(s.latitude) << ", \"isNorth\": " << s.isNorth
           << ", \"longitude\": " << out::number(s.longitude) << ", \"isEast\": " << s.isEast
           << ", \"speed\": " << out::number(s.speed) << ", \"valid\": " << s.valid;
        // What some layouts carry besides the fix.
        if (std::isfinite(s.altitude))
            os << ", \"altitude\": " << out::number(s.altitude);
        if (std::isfinite(s.course))
            os << ", \"course\": " << out::number(s.course);
        if (std::isfinite(s.accel[0]))
            os << ", \"accel\": [" << out::number(s.accel[0]) << ", " << out::number(s.accel[1])
               << ", " << out::number(s.accel[2]) << "]";
        os << "}";
        first = false;
    }
    os << "]}\n";
}

// The ".map" files a lookup may leave: beside the video, and beside its
// "...A" twin.
QStringList mapCandidates(const QString &video)
{
    const int dot = video.lastIndexOf('.');
    if (dot < 0)
        return {video + ".map"};
    QStringList maps{video.left(dot) + ".map"};
    if (dot > 0 && video.at(dot - 1) == 'B')
        maps << video.left(dot - 1) + "A.map";
    return maps;
}

QStringList existing(const QStringList &paths)
{
    QStringList found;
    for (const QString &p : paths)
        if (QFileInfo::exists(p))
            found << p;
    return found;
}

// Text to FILE through a temporary, or to standard output.
int writeOut(const std::string &text, const QString &outPath)
{
    if (outPath.isEmpty()) {
        std::cout << text;
        return std::cout.good() ? 0 : 1;
    }
    QSaveFile file(outPath);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(text.data(), static_cast<qint64>(text.size())) != qint64(text.size()) ||
        !file.commit()) {
        std::cerr << "velomar-track: cannot write " << outPath.toStdString() << ": "
                  << file.errorString().toStdString() << '\n';
        return 1;
    }
    return 0;
}

bool isFinite(const VideoInfo &s)
{
    return std::isfinite(s.latitude) && std::isfinite(s.longitude) && std::isfinite(s.speed);
}

void reportUnreadable(int unreadable)
{
    if (unreadable)
        std::cerr << "velomar-track: skipped " << unreadable
                  << " samples whose numbers are not finite\n";
}

int exportTrack(const QString &video, const QString &format, const QString &outPath)
{
    VideoInfoParse store;
    const QStringList before = existing(mapCandidates(video));
    int result = store.parseFile(video);
    // A GPX is converted on the first lookup but read only from the next.
    if (result < 0 && existing(mapCandidates(video)) != before)
        result = store.parseFile(video);
    if (result < 0 || !store.isParsed)
        return fail("no usable track found for " + video);

    QVector<exporters::Point> points;
    int unreadable = 0;
    for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it) {
        const VideoInfo *s = it.value();
        if (!s->valid)
            continue;
        if (!isFinite(*s)) {
            ++unreadable;
            continue;
        }
        points.append({it.key(), s});
    }
    reportUnreadable(unreadable);

    std::ostringstream os;
    exporters::write(format, QFileInfo(video).fileName(), points, os);
    return writeOut(os.str(), outPath);
}

QString isoTime(const QDateTime &t)
{
    return t.toString(QStringLiteral("yyyy-MM-dd'T'hh:mm:ss"));
}

// The drives of the videos among the paths; false when a path is neither a
// file nor a folder.
bool readDrives(const QStringList &paths, QVector<trip::Drive> &drives)
{
    for (const QString &p : paths) {
        const QFileInfo info(p);
        if (!info.isFile() && !info.isDir()) {
            fail("not a file or folder: " + p);
            return false;
        }
    }
    drives = trip::drives(trip::readMoments(trip::findVideos(paths)));
    return true;
}

void tripJson(const QVector<trip::Drive> &drives, std::ostream &os)
{
    os << "{\"trips\": [";
    for (int i = 0; i < drives.size(); ++i) {
        const trip::Drive &d = drives[i];
        os << (i ? ",\n" : "\n") << "{\"start\": " << out::jsonString(isoTime(d.start()))
           << ", \"end\": " << out::jsonString(isoTime(d.end()))
           << ", \"distance_km\": " << out::number(d.distanceKm())
           << ", \"max_speed\": " << out::number(d.maxSpeed()) << ", \"clips\": [";
        for (int j = 0; j < d.clips.size(); ++j) {
            const trip::Clip &c = d.clips[j];
            os << (j ? ", " : "") << "{\"path\": " << out::jsonString(c.path)
               << ", \"start\": " << out::jsonString(isoTime(c.start));
            if (c.utc.isValid())
                os << ", \"utc\": " << out::jsonString(isoTime(c.utc) + 'Z');
            os << ", \"seconds\": " << c.seconds << ", \"source\": " << out::jsonString(c.source)
               << ", \"kind\": " << out::jsonString(c.kind) << ", \"channels\": [";
            for (int k = 0; k < c.channels.size(); ++k)
                os << (k ? ", " : "") << "{\"name\": " << out::jsonString(c.channels[k].name)
                   << ", \"path\": " << out::jsonString(c.channels[k].path) << "}";
            os << "]";
            if (!c.eventCopies.isEmpty()) {
                os << ", \"event_copies\": [";
                for (int k = 0; k < c.eventCopies.size(); ++k)
                    os << (k ? ", " : "") << out::jsonString(c.eventCopies[k]);
                os << "]";
            }
            os << "}";
        }
        os << "]}";
    }
    os << (drives.isEmpty() ? "" : "\n") << "]}\n";
}

int printTrips(const QStringList &paths)
{
    QVector<trip::Drive> drives;
    if (!readDrives(paths, drives))
        return 2;
    std::ostringstream os;
    tripJson(drives, os);
    return writeOut(os.str(), QString());
}

int exportTrip(const QStringList &paths, const QString &format, const QString &outPath)
{
    QVector<trip::Drive> drives;
    if (!readDrives(paths, drives))
        return 2;
    QVector<exporters::Segment> segments;
    int points = 0;
    int unreadable = 0;
    for (const trip::Drive &d : drives) {
        for (const trip::Clip &c : d.clips) {
            exporters::Segment segment{QFileInfo(c.path).fileName(), {}};
            for (const trip::Point &p : c.points) {
                if (isFinite(p.sample))
                    segment.points.append({p.second, &p.sample});
                else
                    ++unreadable;
            }
            points += segment.points.size();
            segments << segment;
        }
    }
    reportUnreadable(unreadable);
    if (points == 0)
        return fail("no usable track found in " + paths.join(", "));

    const QString title =
        "Trip " + isoTime(drives.first().start()) + " to " + isoTime(drives.last().end());
    std::ostringstream os;
    exporters::writeSegments(format, title, segments, os);
    return writeOut(os.str(), outPath);
}

// The options of export: --format, -o and, for --trip, the paths.
struct ExportOptions
{
    QString format;
    QString outPath;
    QStringList paths;
    QString unexpected; // the argument that made read() fail

    bool read(const QStringList &args, int from, bool takePaths)
    {
        for (int i = from; i < args.size(); ++i) {
            const bool hasValue = i + 1 < args.size();
            if (args[i] == "--format" && hasValue)
                format = args[++i];
            else if (args[i] == "-o" && hasValue)
                outPath = args[++i];
            else if (takePaths && !args[i].startsWith('-'))
                paths << args[i];
            else
                return unexpected = args[i], false;
        }
        return true;
    }
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsEmpty("VELOMAR_DEBUG"))
        qInstallMessageHandler(quietDebug);

    const QStringList args = app.arguments().mid(1);
    if (args.isEmpty())
        return std::cerr << usage, 2;
    if (args[0] == "--help" || args[0] == "-h")
        return std::cout << usage, 0;

    const QString command = args[0];
    if (command == "formats") {
        QStringList seen;
        for (const embedded::LayoutReader *r : embedded::layoutReaders()) {
            if (seen.contains(r->source()))
                continue;
            seen << r->source();
            std::cout << r->source() << "\t" << r->description() << '\n';
        }
        return 0;
    }
    if (command != "dump" && command != "export" && command != "trip")
        return fail("unknown command \"" + command + "\" (see --help)");
    if (command == "trip") {
        if (args.size() < 2)
            return fail("trip needs files or folders (see --help)");
        return printTrips(args.mid(1));
    }
    if (command == "export" && args.size() > 1 && args[1] == "--trip") {
        ExportOptions o;
        if (!o.read(args, 2, true))
            return fail("unexpected argument \"" + o.unexpected + "\" (see --help)");
        if (o.paths.isEmpty())
            return fail("export --trip needs files or folders (see --help)");
        if (!exporters::isFormat(o.format))
            return fail("export needs --format gpx, csv, geojson or kml");
        return exportTrip(o.paths, o.format, o.outPath);
    }
    if (args.size() < 2)
        return fail(command + " needs a video path (see --help)");
    const QString video = args[1];
    if (!QFileInfo(video).isFile())
        return fail("not a file: " + video);

    if (command == "dump") {
        if (args.size() != 2)
            return fail("dump takes one video path (see --help)");
        VideoInfoParse store;
        const int result = store.parseFile(video);
        dumpJson(result, store, std::cout);
        std::cout.flush();
        return std::cout.good() ? 0 : 1;
    }

    ExportOptions o;
    if (!o.read(args, 2, false))
        return fail("unexpected argument \"" + o.unexpected + "\" (see --help)");
    if (!exporters::isFormat(o.format))
        return fail("export needs --format gpx, csv, geojson or kml");
    return exportTrack(video, o.format, o.outPath);
}
