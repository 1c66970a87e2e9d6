#include "trip.h"

#include "embedded/container.h"
#include "linereader.h"
#include "recording.h"
#include "videoinfoparse.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <algorithm>

namespace trip {

QDateTime Drive::end() const
{
    QDateTime last;
    for (const Clip &c : clips)
        if (!last.isValid() || c.end() > last)
            last = c.end();
    return last;
}

double Drive::distanceKm() const
{
    double km = 0.0;
    for (const Clip &c : clips)
        km += c.distanceKm;
    return km;
}

double Drive::maxSpeed() const
{
    double top = 0.0;
    for (const Clip &c : clips)
        top = std::max(top, c.maxSpeed);
    return top;
}

namespace {

bool isVideo(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("mp4") || suffix == QLatin1String("mov") ||
           suffix == QLatin1String("avi");
}

QDateTime wallClock(const QDate &date, const QTime &time)
{
    return QDateTime(date, time, Qt::UTC);
}

// The time of the first dated valid sample, less the seconds before it;
// `first` is the second of the first valid sample, dated or not.
QDateTime trackStart(const VideoInfoParse &store, int *first)
{
    for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it) {
        const VideoInfo *s = it.value();
        if (!s->valid)
            continue;
        if (*first < 0)
            *first = it.key();
        if (s->date == QLatin1String("FFFF:FF:FF"))
            continue;
        const QDate date = QDate::fromString(s->date, QStringLiteral("yyyy:MM:dd"));
        const QTime time = QTime::fromString(s->time, QStringLiteral("hh:mm:ss"));
        if (date.isValid() && time.isValid())
            return wallClock(date, time).addSecs(-it.key());
    }
    return QDateTime();
}

} // namespace

QStringList findVideos(const QStringList &paths)
{
    QStringList found;
    QSet<QString> seen;
    auto add = [&](const QString &path) {
        const QString canonical = QFileInfo(path).canonicalFilePath();
        if (isVideo(path) && !canonical.isEmpty() && !seen.contains(canonical)) {
            seen.insert(canonical);
            // The target, not a link to it: its track files are beside it.
            found << canonical;
        }
    };
    for (const QString &p : paths) {
        const QFileInfo info(p);
        if (info.isDir()) {
            QStringList inside;
            QDirIterator it(p, QDir::Files | QDir::Readable, QDirIterator::Subdirectories);
            while (it.hasNext())
                inside << it.next();
            inside.sort();
            for (const QString &f : qAsConst(inside))
                add(f);
        } else if (info.isFile()) {
            add(p);
        }
    }
    return found;
}

QDateTime timeFromName(const QString &fileName)
{
    // Year, month, day, hour, minute, second with at most one separator
    // between the groups, and nothing numeric around them.
    static const QRegularExpression stamp(
        QStringLiteral("(?<!\\d)(\\d{4})[-_.]?(\\d{2})[-_.]?(\\d{2})[-_. "
                       "tT]?(\\d{2})[-_.:]?(\\d{2})[-_.:]?(\\d{2})(?!\\d)"));
    QRegularExpressionMatchIterator it = stamp.globalMatch(QFileInfo(fileName).fileName());
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        const QDate date(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt());
        const QTime time(m.captured(4).toInt(), m.captured(5).toInt(), m.captured(6).toInt());
        if (date.isValid() && time.isValid() && date.year() >= 1990 && date.year() < 2100)
            return wallClock(date, time);
    }
    return QDateTime();
}

QDateTime rmcDateTime(const QString &path, const QString &time)
{
    LineReader text;
    if (!text.open(path))
        return QDateTime();
    const QString hhmmss = QString(time).remove(':');
    QStringRef line;
    for (int read = 0; text.next(line) && read < 100000; ++read) {
        // $GPRMC,hhmmss.sss,A,lat,N,lon,E,speed,course,ddmmyy,…
        if (line.size() < 7 || line.at(0) != '$' || line.mid(3, 3) != QLatin1String("RMC"))
            continue;
        const QVector<QStringRef> f = line.split(',');
        if (f.size() < 10 || !f[1].startsWith(hhmmss) || f[9].size() != 6)
            continue;
        const QDate date(2000 + f[9].mid(4, 2).toInt(), f[9].mid(2, 2).toInt(),
                         f[9].left(2).toInt());
        const QTime t = QTime::fromString(time, QStringLiteral("hh:mm:ss"));
        if (date.isValid() && t.isValid())
            return wallClock(date, t);
    }
    return QDateTime();
}

Clip readClip(const QString &path, const QString &settingsDir)
{
    Clip clip;
    clip.path = path;
    clip.channels = {{QString(), path}};
    clip.kind = recordingOf(path).kind;
    VideoInfoParse store;
    store.settingsDir = settingsDir;
    int result = store.parseFile(path);
    // A camera's GPX is converted on the first lookup and read from the next.
    if (result < 0 && store.source == QLatin1String("gpx"))
        result = store.parseFile(path);
    if (result == 0 && store.isParsed) {
        clip.source = store.source;
        clip.seconds = store.count;
        clip.distanceKm = store.totalDistance;
        clip.maxSpeed = store.maxSpeed;
        int first = -1;
        const QDateTime fix = trackStart(store, &first);
        // Fixes are on UTC unless the layout says the camera's own clock.
        const bool local =
            store.clock == QLatin1String("local") || store.clock == QLatin1String("camera");
        if (fix.isValid()) {
            (local ? clip.local : clip.utc) = fix;
            clip.startFrom = QStringLiteral("track");
        } else if (first >= 0 &&
                   (clip.source == QLatin1String("nmea") || clip.source == QLatin1String("map"))) {
            // The store keeps no date for NMEA samples; their RMC lines do.
            const QString base = path.left(path.lastIndexOf('.'));
            const QString log = QFileInfo::exists(base + ".TXT") ? base + ".TXT" : base + ".map";
            const QDateTime at = rmcDateTime(log, store.videoInfoMap.value(first)->time);
            if (at.isValid()) {
                clip.utc = at.addSecs(-first);
                clip.startFrom = QStringLiteral("track");
            }
        }
        for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it)
            if (it.value()->valid)
                clip.points.append({it.key(), *it.value()});
    }
    if (!clip.local.isValid()) {
        clip.local = timeFromName(path);
        if (clip.local.isValid() && clip.startFrom.isEmpty())
            clip.startFrom = QStringLiteral("name");
    }
    // The container is walked again only for what the track did not give.
    const bool untimed = !clip.local.isValid() && !clip.utc.isValid();
    embedded::Container container;
    const bool isMp4 = (clip.seconds == 0 || untimed) && container.open(path);
    if (clip.seconds == 0 && isMp4)
        clip.seconds = int(container.duration() + 0.5);
    if (untimed && isMp4 && container.creationTime > 0) {
        // Most cameras write their own clock there.
        clip.local = QDateTime::fromSecsSinceEpoch(container.creationTime, Qt::UTC);
        clip.startFrom = QStringLiteral("container");
    }
    if (!clip.local.isValid() && !clip.utc.isValid()) {
        // The modification time is when the camera closed the file.
        const QDateTime modified = QFileInfo(path).lastModified();
        clip.local = wallClock(modified.date(), modified.time()).addSecs(-clip.seconds);
        clip.startFrom = QStringLiteral("file");
    }
    clip.start = clip.local.isValid() ? clip.local : clip.utc;
    return clip;
}

QVector<Drive> drives(QVector<Clip> clips, int gapSeconds)
{
    std::stable_sort(clips.begin(), clips.end(), [](const Clip &a, const Clip &b) {
        return a.start != b.start ? a.start < b.start : a.path < b.path;
    });
    // An event recording that repeats minutes of a normal one is shown on it.
    QVector<bool> repeated(clips.size(), false);
    for (int e = 0; e < clips.size(); ++e) {
        if (clips[e].kind != QLatin1String("event"))
            continue;
        // In start order: no host past the event's own start.
        for (int n = 0; n < clips.size() && clips[n].start.secsTo(clips[e].start) >= -1; ++n) {
            const Clip &host = clips[n];
            if (n == e || host.kind != QLatin1String("normal") || host.seconds <= 0)
                continue;
            if (host.start.secsTo(clips[e].start) >= -1 &&
                clips[e].end().secsTo(host.end()) >= -1) {
                for (const Channel &ch : clips[e].channels)
                    clips[n].eventCopies << ch.path;
                repeated[e] = true;
                break;
            }
        }
    }
    QVector<Drive> out;
    int driving = -1;
    int parked = -1;
    for (int i = 0; i < clips.size(); ++i) {
        if (repeated[i])
            continue;
        Clip &c = clips[i];
        int &open = c.kind == QLatin1String("parking") ? parked : driving;
        if (open < 0 || out[open].end().secsTo(c.start) > gapSeconds) {
            open = out.size();
            out.append(Drive{});
        }
        out[open].clips.append(std::move(c));
    }
    std::stable_sort(out.begin(), out.end(),
                     [](const Drive &a, const Drive &b) { return a.start() < b.start(); });
    return out;
}

} // namespace trip
