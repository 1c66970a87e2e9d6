#pragma once

// Track files from other devices (a phone, a GPS logger, a mapping program),
// recognised by what they hold rather than by their suffix, as timed points
// ready to be laid on a video by time.
//
// GPX 1.0/1.1     points (track, route, waypoints) with <time>
// KML             <gx:Track> pairs of <when> and <gx:coord>, else Placemarks
//                 with <TimeStamp><when> and <Point><coordinates>
// CSV             a header naming the columns: time (or date and time),
//                 latitude, longitude; speed and altitude when there. Times
//                 as parseTime() reads them, or Unix seconds or milliseconds;
//                 a bare speed in m/s, else in the unit its name gives
//                 (km/h, mph, knots); an altitude in metres, or feet (ft)
// NMEA            $--RMC with a date; $--GGA altitudes joined by time
//
// Times without a zone are UTC (what GPS receivers keep) unless a CSV column
// is named as local time.

#include "standardgpx.h"

#include <QString>
#include <QVector>

namespace trackimport {

enum class Format
{
    Unknown,
    Gpx,
    Kml,
    Csv,
    Nmea,
};

// "gpx", "kml", "csv", "nmea", or "unknown".
QString formatName(Format format);

// What the file holds, from its first megabyte.
Format detect(const QString &path);

// The file's timed points in time order, as UTC. False, with `error` naming
// the line where it can, when the file is of no known kind, holds a value
// that cannot be read, has no timed point, or is over the track limits.
bool read(const QString &path, QVector<standardgpx::Point> &points, QString *error = nullptr,
          Format *format = nullptr);

// A date-time as track files write it: ISO 8601 with or without "T", a zone
// and milliseconds, or "yyyy/MM/dd hh:mm:ss". Without a zone the text is
// taken as UTC, or as local time with `local`. Invalid for anything else,
// and for a date without a time of day.
QDateTime parseTime(const QString &text, bool local = false);

} // namespace trackimport
