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

struct Clip
{
    QString path;
    // When recording began, on the camera's wall clock (kept as UTC for
    // arithmetic), and what said so: "track" (the first valid fix), "name"
    // (a date-time in the file name), "container" (its creation time) or
    // "file" (the file's modification time).
    QDateTime start;
    QString startFrom;
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

// The clips in recording order, joined into drives.
QVector<Drive> drives(QVector<Clip> clips, int gapSeconds = maxGapSeconds);

} // namespace trip
