#pragma once

// A standard GPX 1.0/1.1 file (track, route or waypoints with times), as a
// phone or a GPS logger writes it, laid on a video by time: each second of
// the video gets the position of the moment it was recorded.

#include "embedded/telemetry.h"

#include <QDateTime>
#include <QString>
#include <QVector>

namespace standardgpx {

struct Point
{
    QDateTime time; // UTC
    double latitude = 0.0;
    double longitude = 0.0;
    double speedKmh = embedded::Fix::none; // where the file has <speed> (m/s)
    double altitude = embedded::Fix::none;
};

// The timed points (of trkpt, rtept, wpt) in time order; none for the
// camera's flat XML, whose points carry their time as an attribute. False, with `error` (line and
// column), when the file cannot be read or holds too many points.
bool read(const QString &path, QVector<Point> &points, QString *error = nullptr);

// When the video began recording, as UTC: the container's creation time,
// else a date-time in the file name taken as local time. Invalid when
// neither is known.
QDateTime videoStart(const QString &videoPath, double *duration = nullptr);

// One fix a second of video, from `start` for `seconds` seconds (up to the
// last point when 0): the position between the two points around each
// moment, where they are at most maxGap seconds apart.
constexpr double maxGap = 30.0;
void place(const QVector<Point> &points, const QDateTime &start, int seconds,
           embedded::Telemetry &out);

} // namespace standardgpx
