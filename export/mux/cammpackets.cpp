#include "cammpackets.h"

#include "embedded/gpstime.h"

#include <QtEndian>
#include <cmath>
#include <cstring>

namespace videoexport {

namespace {

template <typename T> void put(QByteArray &b, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    b.append(bytes, int(sizeof(T)));
}

double bearing(const VideoInfo &a, const VideoInfo &b)
{
    const double rad = M_PI / 180.0;
    const double la1 = a.signedLatitude() * rad, la2 = b.signedLatitude() * rad;
    const double dl = (b.signedLongitude() - a.signedLongitude()) * rad;
    const double y = std::sin(dl) * std::cos(la2);
    const double x = std::cos(la1) * std::sin(la2) - std::sin(la1) * std::cos(la2) * std::cos(dl);
    return std::fmod(std::atan2(y, x) / rad + 360.0, 360.0);
}

} // namespace

QByteArray cammPacket(const VideoInfo &fix, const QDateTime &utc, const VideoInfo *next)
{
    QByteArray b;
    put<quint16>(b, 0);
    const double altitude = std::isnan(fix.altitude) ? 0.0 : fix.altitude;
    if (!utc.isValid()) {
        put<quint16>(b, 5);
        put<double>(b, fix.signedLatitude());
        put<double>(b, fix.signedLongitude());
        put<double>(b, altitude);
        return b;
    }
    put<quint16>(b, 6);
    put<double>(b, gpstime::fromUnix(utc.toMSecsSinceEpoch() / 1000.0));
    put<quint32>(b, std::isnan(fix.altitude) ? 2 : 3); // 2D or 3D fix
    put<double>(b, fix.signedLatitude());
    put<double>(b, fix.signedLongitude());
    put<float>(b, float(altitude));
    put<float>(b, 5.0f);  // horizontal accuracy, m: the receivers' usual figure
    put<float>(b, 10.0f); // vertical
    double course = fix.course;
    if (std::isnan(course))
        course = next && next->valid ? bearing(fix, *next) : 0.0;
    const double mps = fix.speed / 3.6;
    put<float>(b, float(mps * std::sin(course * M_PI / 180.0))); // east
    put<float>(b, float(mps * std::cos(course * M_PI / 180.0))); // north
    put<float>(b, 0.0f);                                         // up
    put<float>(b, 1.0f);                                         // speed accuracy, m/s
    return b;
}

} // namespace videoexport
