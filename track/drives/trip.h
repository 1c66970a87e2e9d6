#pragma once

// Drives: the clips a camera cut one drive into, found in files and folders,
// put in the order they were recorded and joined where one follows another.

#include "videoinfo.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVector>

namespace trip {

// Clips closer than this (end of one to start of the next) are one drive.
constexpr int maxGapSeconds = 120;

struct Point
{
    int second; // into the clip
    VideoInfo sample;
};

// One camera's file of a moment.
struct Channel
{
    QString name; // "front", "rear", "interior", "telephoto", "side-left", "side-right"
    QString path;
};

// One moment of a drive: what the recorder's cameras wrote at the same time.
struct Clip
{
    QString path;              // the main channel's file
    QVector<Channel> channels; // front first; the clip's own file alone when it has no others
    QString kind = QStringLiteral("normal"); // "event", "manual", "parking"
    // Event recordings that repeat minutes of this clip: shown on it, not
    // played again.
    QStringList eventCopies;
    // When recording began, on the camera's clock (kept as UTC for
    // arithmetic), and what said so: "track" (the first valid fix), "name"
    // (a date-time in the file name), "container" (its creation time) or
    // "file" (the file's modification time).
    QDateTime start;
    QString startFrom;
    // What the sources told before the clips were put on one clock: the
    // camera's clock (name, container, a track on local time) and UTC (GPS).
    // After placeOnClock() `utc` is the start in UTC, from the camera's
    // offset or, with zoneAssumed, the machine's time zone.
    QDateTime local;
    QDateTime utc;
    bool zoneAssumed = false;
    int seconds = 0; // the track's samples, else the video's length
    QString source;  // the track's source, empty without a track
    double distanceKm = 0.0;
    double maxSpeed = 0.0; // km/h
    QVector<Point> points; // the valid samples
    QDateTime end() const { return start.addSecs(seconds); }
};

struct Drive
{
    QVector<Clip> clips;
    // A drive of parking recordings: kept apart from the drives it interrupts.
    bool parking() const
    {
        return !clips.isEmpty() && clips.first().kind == QLatin1String("parking");
    }
    QDateTime start() const { return clips.isEmpty() ? QDateTime() : clips.first().start; }
    QDateTime end() const;
    double distanceKm() const;
    double maxSpeed() const;
};

// The videos (.mp4, .mov, .avi, any case) among the paths: files as they
// are, folders with their subfolders, each video once, in path order.
QStringList findVideos(const QStringList &paths);

// A date-time in a file name: yyyyMMdd_hhmmss, yyyy_MMdd_hhmmss,
// yyyyMMddhhmmss, yyyy-MM-dd_hh-mm-ss and the like. Invalid when none.
QDateTime timeFromName(const QString &fileName);

// Reads one clip: its track by the player's own lookup (with the per-video
// offsets and imports of settingsDir, when given), its recording time by the
// first source that has one.
Clip readClip(const QString &path, const QString &settingsDir = QString());

// The clips in recording order, joined into drives. Parking clips form
// drives of their own; an event clip that lies within a normal clip is
// kept on that clip as an event copy.
QVector<Drive> drives(QVector<Clip> clips, int gapSeconds = maxGapSeconds);

// The first date-time of an NMEA log's RMC sentences whose time is `time`
// ("hh:mm:ss"), in UTC; invalid when none has a date.
QDateTime rmcDateTime(const QString &path, const QString &time);

} // namespace trip
