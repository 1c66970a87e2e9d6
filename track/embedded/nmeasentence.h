#pragma once

// NMEA sentences as cameras write them inside videos, read with the track
// reader's own field splitting, checksum and DDMM conversion.

#include "telemetry.h"

#include <QString>

namespace embedded::nmea {

enum class Checksum
{
    Required, // "*HH" present and right
    IfPresent,
    Ignored, // Nextbase writes sums that never match
};

// $GPRMC / $GNRMC (or without the "$", as Thinkware writes it): place,
// speed (knots x 1.852), course, validity, and the UTC clock when the
// sentence has a date. False when the text is no RMC sentence.
bool readRmc(const QString &sentence, Fix &fix, Checksum checksum);
// $GPGGA / $GNGGA: the altitude, put into the fix.
bool readGga(const QString &sentence, Fix &fix, Checksum checksum);
// The sentences within a text, cut at each "$" or at a ';' / line break.
QStringList sentences(const QString &text);

} // namespace embedded::nmea
