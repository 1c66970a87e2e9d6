#include "panel.h"

#include <QFont>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace dashboard {

Panel::Panel(const QSize &frame, const PanelOptions &o, const QVector<QPointF> &r,
             double topSpeedKmh)
    : options(o), route(r)
{
    const int h = frame.height();
    const bool bar = o.layout == PanelOptions::Layout::Bar;
    const int pad = std::max(4, h / 90);
    const int height = bar ? std::max(48, h * 12 / 100) : std::max(90, h * 26 / 100);
    const int square = height - 2 * pad;
    const bool anyText = o.time || o.speed || o.coordinates;
    const int textWidth = anyText ? (bar ? frame.width() - 2 * pad : height * 13 / 10) : 0;
    int x = pad;
    if (o.gauge) {
        gaugeBox = QRect(x, pad, square, square);
        x += square + pad;
    }
    int width;
    if (bar) {
        width = frame.width();
        const int routeWidth = o.route ? square * 2 : 0;
        if (anyText)
            textBox = QRect(x, pad, width - x - pad - (routeWidth ? routeWidth + pad : 0), square);
        if (o.route)
            routeBox = QRect(width - pad - routeWidth, pad, routeWidth, square);
        area = QRect(0, frame.height() - height, width, height);
    } else {
        if (anyText) {
            textBox = QRect(x, pad, textWidth, square);
            x += textWidth + pad;
        }
        if (o.route) {
            routeBox = QRect(x, pad, square, square);
            x += square + pad;
        }
        width = x;
        const int margin = h / 40;
        area = QRect(margin, frame.height() - height - margin, width, height);
    }
    image = QImage(area.size(), QImage::Format_ARGB32_Premultiplied);

    gauge.units = unitName(o.unit);
    gauge.maxValue = gaugeMaximum(inUnit(topSpeedKmh, o.unit), o.unit);
    gauge.steps = int(gauge.maxValue / (o.unit == Unit::Mph ? 10 : 20));
    gauge.enableThreshold = o.limitKmh > 0;
    gauge.threshold = inUnit(o.limitKmh, o.unit);
    gauge.foreground = Qt::white;
    gauge.background = QColor(20, 20, 20);

    for (int i = 0; i < route.size(); ++i) {
        const QRectF point(route[i], QSizeF(1e-9, 1e-9));
        bounds = i == 0 ? point : bounds.united(point);
    }
    lonScale = std::cos(bounds.center().y() * M_PI / 180.0);
}

QPointF Panel::project(const QPointF &lonLat, const QRect &box) const
{
    // Equirectangular, longitude shortened by the latitude's cosine, the
    // route fitted into the box with its shape kept.
    const double w = std::max(bounds.width() * lonScale, 1e-6);
    const double h = std::max(bounds.height(), 1e-6);
    const double scale = std::min((box.width() - 8) / w, (box.height() - 8) / h);
    const QPointF centre = box.center();
    return QPointF(centre.x() + (lonLat.x() - bounds.center().x()) * lonScale * scale,
                   centre.y() - (lonLat.y() - bounds.center().y()) * scale);
}

const QImage &Panel::paint(const Reading &reading)
{
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 150));
    const int radius = options.layout == PanelOptions::Layout::Bar ? 0 : image.height() / 12;
    painter.drawRoundedRect(image.rect(), radius, radius);
    written.clear();
    if (options.gauge) {
        gauge.value =
            std::min(inUnit(reading.fix ? reading.speedKmh : 0.0, options.unit), gauge.maxValue);
        gauge.alarm = gauge.enableThreshold && gauge.value > gauge.threshold;
        QFont font = painter.font();
        font.setPixelSize(std::max(8, gaugeBox.height() / 12));
        painter.setFont(font);
        gauge.paint(painter, gaugeBox);
    }
    if (!textBox.isEmpty())
        paintTexts(painter, textBox, reading);
    if (!routeBox.isEmpty())
        paintRoute(painter, routeBox, reading);
    return image;
}

void Panel::paintTexts(QPainter &painter, const QRect &box, const Reading &reading)
{
    struct Line
    {
        QString text;
        bool large;
    };
    QVector<Line> lines;
    if (options.time && reading.shown.isValid())
        lines.append({dateTimeText(reading.shown), false});
    if (options.speed)
        lines.append(
            {reading.fix ? speedText(reading.speedKmh, options.unit) : options.noFix, true});
    if (options.coordinates && reading.fix)
        lines.append({coordinatesText(reading.latitude, reading.longitude), false});
    for (const Line &l : lines)
        written << l.text;
    if (lines.isEmpty())
        return;
    const bool bar = options.layout == PanelOptions::Layout::Bar;
    QFont font = painter.font();
    font.setBold(true);
    painter.setPen(Qt::white);
    // A bar: one row, each text in an equal share. A corner panel: a row
    // each, the speed larger. Texts too long lose their middle, never a cut.
    const int n = lines.size();
    for (int i = 0; i < n; ++i) {
        const QRect cell =
            bar ? QRect(box.x() + i * box.width() / n, box.y(), box.width() / n, box.height())
                : QRect(box.x(), box.y() + i * box.height() / n, box.width(), box.height() / n);
        int size = bar ? box.height() * 30 / 100 : cell.height() * (lines[i].large ? 55 : 34) / 100;
        // Smaller until it fits the width, down to a size still legible.
        font.setPixelSize(std::max(8, size));
        const int wide = QFontMetrics(font).horizontalAdvance(lines[i].text);
        if (wide > cell.width() && wide > 0)
            size = size * cell.width() / wide;
        font.setPixelSize(std::max(8, size));
        painter.setFont(font);
        painter.drawText(
            cell, (bar ? Qt::AlignHCenter : Qt::AlignLeft) | Qt::AlignVCenter,
            QFontMetrics(font).elidedText(lines[i].text, Qt::ElideMiddle, cell.width()));
    }
}

void Panel::paintRoute(QPainter &painter, const QRect &box, const Reading &reading) const
{
    painter.save();
    painter.setPen(QPen(QColor(255, 255, 255, 60), 1));
    painter.setBrush(QColor(255, 255, 255, 25));
    painter.drawRect(box);
    if (!route.isEmpty()) {
        QPainterPath path(project(route.first(), box));
        for (int i = 1; i < route.size(); ++i)
            path.lineTo(project(route[i], box));
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QColor(80, 170, 255), std::max(2, box.height() / 60), Qt::SolidLine,
                            Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(path);
    }
    if (reading.fix) {
        const QPointF at = project(QPointF(reading.longitude, reading.latitude), box);
        const double r = std::max(3, box.height() / 25);
        painter.setPen(QPen(Qt::white, std::max(1.0, r / 3)));
        painter.setBrush(QColor(230, 40, 40));
        painter.drawEllipse(at, r, r);
    }
    painter.restore();
}

} // namespace dashboard
