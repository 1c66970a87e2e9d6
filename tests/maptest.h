#pragma once

// Shared by the map tests: waiting on a web page, distances on the ground,
// and whether a page's view is centred on a point.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <QVariantMap>
#include <QWebEnginePage>
#include <cmath>
#include <functional>
#include <memory>

namespace maptest {

// Runs the event loop until done() or ms have passed. Unlike QTest::qWaitFor
// it never sleeps: QtWebEngine moves each runJavaScript call through the GUI
// thread's loop, and a 10 ms sleep between turns makes 3,600 calls take 36 s.
inline bool waitUntil(const std::function<bool()> &done, int ms)
{
    QElapsedTimer elapsed;
    elapsed.start();
    QTimer wake; // lets the loop look at the clock and the predicate
    wake.start(10);
    while (!done()) {
        if (elapsed.elapsed() > ms)
            return done();
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

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

} // namespace maptest
