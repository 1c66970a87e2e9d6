#pragma once

// The dashboard drawn into a video's picture: date and time, speed, the
// speed gauge, coordinates and a small map of the route drawn from the
// track alone (no tiles, so it works offline) with the current position.
// Laid out as a corner panel or a bar along the bottom; each element can be
// left out. Painted into a transparent image the size of its rectangle only.

#include "gauge.h"
#include "readings.h"

#include <QImage>
#include <QPointF>
#include <QRect>
#include <QStringList>
#include <QVector>

namespace dashboard {

struct PanelOptions
{
    enum class Layout
    {
        Corner,
        Bar
    };
    Layout layout = Layout::Corner;
    bool time = true;
    bool speed = true;
    bool gauge = true;
    bool coordinates = true;
    bool route = true;
    Unit unit = Unit::Kmh;
    double limitKmh = 0.0;                    // the gauge's red arc from here; 0: none
    QString noFix = QStringLiteral("No GPS"); // shown for a second without a fix
};

// One second of the dashboard.
struct Reading
{
    QDateTime shown; // on the clock the picture shows; invalid: not shown
    bool fix = false;
    double speedKmh = 0.0;
    double latitude = 0.0; // signed
    double longitude = 0.0;
};

class Panel
{
public:
    // `route`: the stretch's fixes as (longitude, latitude).
    Panel(const QSize &frame, const PanelOptions &options, const QVector<QPointF> &route,
          double topSpeedKmh);
    QRect rect() const { return area; }
    // The panel for this reading, premultiplied ARGB, rect()'s size.
    const QImage &paint(const Reading &reading);
    // The texts the last paint wrote: time, speed, coordinates (those shown).
    QStringList texts() const { return written; }

private:
    void paintTexts(QPainter &painter, const QRect &box, const Reading &reading);
    void paintRoute(QPainter &painter, const QRect &box, const Reading &reading) const;
    QPointF project(const QPointF &lonLat, const QRect &box) const;

    PanelOptions options;
    QRect area;
    QRect gaugeBox, textBox, routeBox; // within the panel
    QVector<QPointF> route;
    QRectF bounds; // of the route, in degrees
    double lonScale = 1.0;
    Gauge gauge;
    QImage image;
    QStringList written;
};

} // namespace dashboard
