#pragma once

// The dashboard's figures as text, the same wherever they are shown.

#include <QDateTime>
#include <QString>

namespace dashboard {

enum class Unit
{
    Kmh,
    Mph
};

constexpr double milesPerKm = 0.6213712;

double inUnit(double kmh, Unit unit);
QString unitName(Unit unit); // "km/h", "mph"
// One decimal, as the gauge reads: "68.9 km/h".
QString speedText(double kmh, Unit unit);
// Signed decimal degrees, six places: "48.137000, -117.331161".
QString coordinatesText(double latitude, double longitude);
// "2024-05-14 14:03:10", on whichever clock `t` is given.
QString dateTimeText(const QDateTime &t);

// A gauge scale that fits a top speed: 0 to the next step of 20 (km/h) or
// 10 (mph) above it, at least 100 and 60.
double gaugeMaximum(double topSpeedInUnit, Unit unit);

} // namespace dashboard
