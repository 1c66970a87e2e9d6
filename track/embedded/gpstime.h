#pragma once

// GPS time: seconds since 1980-01-06 00:00 UTC on a scale that does not stop
// for leap seconds, so it runs ahead of UTC by the leap seconds since 1980.

#include <QtGlobal>

namespace gpstime {

constexpr qint64 epochUnix = 315964800; // 1980-01-06T00:00:00Z

// GPS time minus UTC at a moment given in Unix seconds (UTC).
int leapSeconds(qint64 unixSeconds);

double fromUnix(double unixSeconds);
double toUnix(double gpsSeconds);

} // namespace gpstime
