#include "trip.h"

#include "embedded/container.h"
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

// The time of the first valid sample, less the seconds before it.
QDateTime trackStart(const VideoInfoParse &store)
{
    for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it) {
        const VideoInfo *s = it.value();
        if (!s->valid || s->date == QLatin1String("FFFF:FF:FF"))
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

Clip readClip(const QString &path, const QString &settingsDir)
{
    Clip clip;
    clip.path = path;
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
        clip.start = trackStart(store);
        if (clip.start.isValid())
            clip.startFrom = QStringLiteral("track");
        for (auto it = store.videoInfoMap.cbegin(); it != store.videoInfoMap.cend(); ++it)
            if (it.value()->valid)
                clip.points.append({it.key(), *it.value()});
    }
    if (!clip.start.isValid()) {
        clip.start = timeFromName(path);
        clip.startFrom = QStringLiteral("name");
    }
    // The container is walked again only for what the track did not give.
    embedded::Container container;
    const bool isMp4 = (clip.seconds == 0 || !clip.start.isValid()) && container.open(path);
    if (clip.seconds == 0 && isMp4)
        clip.seconds = int(container.duration() + 0.5);
    if (!clip.start.isValid() && isMp4 && container.creationTime > 0) {
        clip.start = QDateTime::fromSecsSinceEpoch(container.creationTime, Qt::UTC);
        clip.startFrom = QStringLiteral("container");
    }
    if (!clip.start.isValid()) {
        // The modification time is when the camera closed the file.
        const QDateTime modified = QFileInfo(path).lastModified();
        clip.start = wallClock(modified.date(), modified.time()).addSecs(-clip.seconds);
        clip.startFrom = QStringLiteral("file");
    }
    return clip;
}

QVector<Drive> drives(QVector<Clip> clips, int gapSeconds)
{
    std::stable_sort(clips.begin(), clips.end(), [](const Clip &a, const Clip &b) {
        return a.start != b.start ? a.start < b.start : a.path < b.path;
    });
    QVector<Drive> out;
    for (Clip &c : clips) {
        if (out.isEmpty() || out.last().end().secsTo(c.start) > gapSeconds)
            out.append(Drive{});
        out.last().clips.append(std::move(c));
    }
    return out;
}

} // namespace trip
