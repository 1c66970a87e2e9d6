#pragma once

// Shared by the map tests and benchmark: waiting on a web page, the commands
// as the player sends them, distances on the ground, and whether a page's
// view is centred on a point.

#include "waituntil.h"

#include <QStringList>
#include <QVariantMap>
#include <QVector>
#include <QWebEnginePage>
#include <algorithm>
#include <cmath>
#include <memory>

namespace maptest {

using testwait::waitUntil;

// Evaluates script in the page and waits for its value (invalid on time-out).
inline QVariant runJs(QWebEnginePage *page, const QString &script, int ms = 60000)
{
    // Shared: a late answer must find its place still there.
    auto result = std::make_shared<std::pair<bool, QVariant>>(false, QVariant());
    page->runJavaScript(script, [result](const QVariant &v) { *result = {true, v}; });
    if (!waitUntil([&] { return result->first; }, ms))
        qWarning().noquote() << "no answer from the page to" << script.left(80);
    return result->second;
}

struct LatLon
{
    double lat, lon;
};

inline double metres(LatLon p, LatLon q)
{
    const double r = 6371000.0, rad = M_PI / 180.0;
    const double dLat = (q.lat - p.lat) * rad, dLon = (q.lon - p.lon) * rad;
    const double h =
        std::sin(dLat / 2) * std::sin(dLat / 2) +
        std::cos(p.lat * rad) * std::cos(q.lat * rad) * std::sin(dLon / 2) * std::sin(dLon / 2);
    return 2 * r * std::asin(std::sqrt(h));
}

// Leaflet pans by whole pixels: a view centred on a point is within a pixel
// of it.
inline bool centredOn(const QVariantMap &state, LatLon want)
{
    const QVariantList c = state.value("center").toList();
    if (c.size() != 2)
        return false;
    const double metresPerPixel = 156543.03392 * std::cos(want.lat * M_PI / 180.0) /
                                  std::pow(2.0, state.value("zoom").toDouble());
    return metres({c[0].toDouble(), c[1].toDouble()}, want) <= 1.5 * metresPerPixel;
}

inline QString command(const char *name, double lat, double lon)
{
    return QStringLiteral("%1(%2, %3);")
        .arg(QLatin1String(name))
        .arg(QString::number(lat, 'g', 10))
        .arg(QString::number(lon, 'g', 10));
}

// A route the way the player sends it: initialise, start, next points, end.
inline QStringList routeCommands(const QVector<LatLon> &points)
{
    QStringList out;
    for (int i = 0; i < points.size(); ++i) {
        const LatLon p = points[i];
        if (i == 0) {
            out << command("mapinitialize", p.lat, p.lon) << command("setStartPoint", p.lat, p.lon);
        } else if (i == points.size() - 1) {
            out << command("setEndPoint", p.lat, p.lon);
        } else {
            out << command("gotoNextPoint", p.lat, p.lon);
        }
    }
    return out;
}

// As the player writes a coordinate: at most 10 significant digits.
inline double sent(double v)
{
    return QString::number(v, 'g', 10).toDouble();
}

// Most of a loop through Shenzhen.
inline QVector<LatLon> shenzhenTrack(int n)
{
    QVector<LatLon> out;
    for (int i = 0; i < n; ++i) {
        const double t = 2 * M_PI * i / std::max(n, 2) * 0.8;
        out.push_back({sent(22.54 + 0.02 * std::sin(t)), sent(114.05 + 0.03 * (1 - std::cos(t)))});
    }
    return out;
}

} // namespace maptest
