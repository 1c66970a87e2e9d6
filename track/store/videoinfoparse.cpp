#include "videoinfoparse.h"

#include <QDebug>
#include <QFile>
#include <QtGlobal>
#include <cmath>
#include <cstdint>

VideoInfoParse::VideoInfoParse()
{
    resetVideoInfo();
}

VideoInfoParse::~VideoInfoParse()
{
    clearSamples();
}

void VideoInfoParse::clearSamples()
{
    qDeleteAll(videoInfoMap);
    videoInfoMap.clear();
}

void VideoInfoParse::resetVideoInfo()
{
    isParsed = 0;
    maxSpeed = 0.0;
    avgSpeed = 0.0;
    totalDistance = 0.0;
    count = 0;
}

double VideoInfoParse::DDTran(double ddmm)
{
    const double degrees = ddmm / 100;
    // Whole degrees as an unsigned 32-bit number. Hostile files can hold
    // values outside that range ("-1", "1e308", "nan"), where the cast is
    // undefined; those keep the degrees truncated toward zero instead.
    double whole;
    if (degrees >= 0.0 && degrees < 4294967296.0)
        whole = static_cast<std::uint32_t>(degrees);
    else
        whole = std::trunc(degrees);
    return whole + (ddmm - whole * 100) / 60;
}

double VideoInfoParse::get2PointDistance(double lat1, double lon1, double lat2, double lon2)
{
    // Single-precision pi widened to double, kept so that distances match
    // the figures that cameras' own tools print.
    const double PI = static_cast<double>(3.14159265358979323846f);
    auto rad = [PI](double d) { return PI * d / 180.0; };
    const double a = pow(sin((rad(lat1) - rad(lat2)) / 2), 2) +
                     cos(rad(lat1)) * cos(rad(lat2)) * pow(sin((rad(lon1) - rad(lon2)) / 2), 2);
    return 6378137.0 * 2 * asin(sqrt(a));
}
