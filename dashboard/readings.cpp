#include "readings.h"

#include <cmath>

namespace dashboard {

double inUnit(double kmh, Unit unit)
{
    return unit == Unit::Mph ? kmh * milesPerKm : kmh;
}

QString unitName(Unit unit)
{
    return unit == Unit::Mph ? QStringLiteral("mph") : QStringLiteral("km/h");
}

QString speedText(double kmh, Unit unit)
{
    return QStringLiteral("%1 %2").arg(inUnit(kmh, unit), 0, 'f', 1).arg(unitName(unit));
}

QString coordinatesText(double latitude, double longitude)
{
    return QStringLiteral("%1, %2").arg(latitude, 0, 'f', 6).arg(longitude, 0, 'f', 6);
}

QString dateTimeText(const QDateTime &t)
{
    return t.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

double gaugeMaximum(double topSpeedInUnit, Unit unit)
{
    const double step = unit == Unit::Mph ? 10.0 : 20.0;
    const double floor = unit == Unit::Mph ? 60.0 : 100.0;
    return std::max(floor, std::ceil((topSpeedInUnit + 1.0) / step) * step);
}

} // namespace dashboard
