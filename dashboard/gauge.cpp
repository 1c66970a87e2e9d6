#include "gauge.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>

namespace dashboard {

double Gauge::angleOf(double v) const
{
    return startAngle + (endAngle - startAngle) / (maxValue - minValue) * (v - minValue);
}

QString Gauge::scaleText(int i) const
{
    const double number = i * ((maxValue - minValue) / steps) + minValue;
    return QString("%1").arg(number, 0, 'f', precision, QLatin1Char(' '));
}

QString Gauge::numericText() const
{
    return QString("%1").arg(value, 0, 'f', precisionNumeric, QLatin1Char(' '));
}

bool Gauge::paint(QPainter &painter, const QRect &area, QFont *shrunkLabelFont) const
{
    const QFont given = painter.font();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const int side = qMin(area.width(), area.height());
    painter.setViewport(area.x() + (area.width() - side) / 2, area.y() + (area.height() - side) / 2,
                        side, side);
    painter.setWindow(-50, -50, 100, 100);

    drawBackground(painter);
    drawCoverGlass(painter);
    drawTicks(painter);
    drawScale(painter);
    drawUnits(painter);
    drawThresholdLine(painter);
    if (enableWarningWindow)
        drawWindow(painter, beginWarningValue, endWarningValue, Qt::yellow);
    if (enableValidWindow)
        drawWindow(painter, beginValidValue, endValidValue, Qt::green);
    drawNeedle(painter);
    drawNumericValue(painter);
    const bool shrunk = drawLabel(painter, given, shrunkLabelFont);
    drawCrown(painter);
    painter.restore();
    return shrunk;
}

void Gauge::drawBackground(QPainter &painter) const
{
    painter.setBrush(background); // stays on the painter
    painter.drawEllipse(-45, -45, 90, 90);
}

void Gauge::drawCoverGlass(QPainter &painter) const
{
    painter.save();
    QLinearGradient glass(-15, -45, 90, 75);
    glass.setColorAt(0.0, QColor(255, 255, 255, 30));
    glass.setColorAt(0.3, QColor(120, 120, 120, 20));
    QPen pen(QColor(0, 0, 0, 0));
    pen.setBrush(glass);
    pen.setWidth(0);
    painter.setPen(pen);
    painter.setBrush(glass);
    painter.drawEllipse(-45, -45, 90, 90);
    painter.restore();
}

void Gauge::drawTicks(QPainter &painter) const
{
    QPen pen(foreground);
    pen.setWidth(0);
    painter.save();
    painter.setPen(pen);
    painter.rotate(-startAngle);
    for (int i = 0; i <= steps; ++i) {
        painter.drawLine(28, 0, 30, 0);
        painter.rotate((startAngle - endAngle) / steps);
    }
    painter.restore();
    painter.setPen(pen);
    painter.drawArc(-28, -28, 56, 56, int(startAngle * 16), int((endAngle - startAngle) * 16));
}

void Gauge::drawScale(QPainter &painter) const
{
    painter.save();
    painter.setPen(foreground);
    const double a0 = startAngle * M_PI / 180.0 + M_PI / 2;
    const double da = ((endAngle - startAngle) / steps) * M_PI / 180.0;
    QFont font = painter.font();
    font.setPointSize(6);
    painter.setFont(font);
    const QFontMetricsF metrics(painter.font());
    for (int i = 0; i <= steps; ++i) {
        const double a = a0 + i * da;
        const QString text = scaleText(i);
        const QSizeF size = metrics.size(Qt::TextSingleLine, text);
        painter.drawText(QPoint(int(std::sin(a) * 38.0 + size.width() / -2.0),
                                int(std::cos(a) * 38.0 + size.height() / 4.0)),
                         text);
    }
    painter.restore();
}

void Gauge::drawUnits(QPainter &painter) const
{
    painter.setPen(foreground);
    painter.setBrush(foreground);
    QFont font = painter.font();
    font.setPointSize(8); // stays for the read-out and the label
    painter.setFont(font);
    painter.drawText(QRectF(-15, -20, 30, 10), Qt::AlignCenter, units);
}

void Gauge::drawThresholdLine(QPainter &painter) const
{
    if (!enableThreshold)
        return;
    painter.save();
    const double ta = angleOf(threshold);
    QPen pen(Qt::green);
    pen.setWidth(3);
    painter.setPen(pen);
    painter.drawArc(-25, -25, 50, 50, int(startAngle) * 16, int(ta - startAngle) * 16);
    pen.setColor(Qt::red);
    painter.setPen(pen);
    painter.drawArc(-25, -25, 50, 50, int(ta) * 16, int(endAngle - ta) * 16);
    painter.restore();
}

void Gauge::drawWindow(QPainter &painter, double begin, double end, Qt::GlobalColor color) const
{
    const double a1 = angleOf(begin);
    const double a2 = angleOf(end);
    QPen pen(color);
    pen.setWidth(2);
    painter.setPen(pen); // stays
    if (a1 <= a2)
        painter.drawArc(-25, -25, 50, 50, int(a1) * 16, int(a2 - a1) * 16);
    else
        painter.drawArc(-25, -25, 50, 50, int(a2) * 16, int(a1 - a2) * 16);
}

void Gauge::drawNeedle(QPainter &painter) const
{
    painter.save();
    painter.rotate(-90.0);
    const int degrees = int(angleOf(value)); // whole degrees
    painter.rotate(-degrees);
    QColor edge(Qt::darkRed);
    edge.setAlpha(90);
    painter.setPen(edge);
    QRadialGradient fill(QPointF(0, 0), 20.0, QPointF(0, 0));
    fill.setColorAt(0.0, QColor(255, 120, 120, 255));
    fill.setColorAt(1.0, QColor(200, 20, 20, 255));
    painter.setBrush(fill);
    const QPoint outer[3] = {QPoint(-2, 0), QPoint(2, 0), QPoint(0, 30)};
    painter.drawConvexPolygon(outer, 3);
    painter.setBrush(QColor(255, 120, 120, 255));
    const QPoint inner[3] = {QPoint(-1, 0), QPoint(1, 0), QPoint(0, 29)};
    painter.drawConvexPolygon(inner, 3);
    painter.restore();

    QLinearGradient hub(-7, -7, 14, 14);
    hub.setColorAt(0.0, Qt::white);
    hub.setColorAt(1.0, Qt::black);
    painter.setPen(Qt::NoPen);
    painter.setBrush(hub);
    painter.drawEllipse(-7, -7, 14, 14);
}

void Gauge::drawNumericValue(QPainter &painter) const
{
    if (!enableNumericIndicator)
        return;
    painter.save();
    painter.setPen(alarm ? Qt::red : Qt::green);
    QFont font = painter.font();
    font.setBold(false);
    painter.setFont(font);
    painter.drawText(QRectF(-15, 25, 30, 10), Qt::AlignCenter, numericText());
    painter.restore();
}

bool Gauge::drawLabel(QPainter &painter, const QFont &given, QFont *shrunk) const
{
    painter.save();
    painter.setPen(foreground);
    painter.setBrush(foreground);
    const QRectF rect(-20, 15, 40, 10);
    // Measured in the font the painter was given; the smaller font shows
    // from the next paint on, drawn now in the units' 8 points.
    const bool tooWide =
        shrunk && QFontMetricsF(given).size(Qt::TextSingleLine, label).width() > rect.width();
    if (tooWide) {
        *shrunk = painter.font();
        shrunk->setPointSize(shrunk->pointSize() - 1);
    }
    painter.drawText(rect, Qt::AlignCenter, label);
    painter.restore();
    return tooWide;
}

void Gauge::drawCrown(QPainter &painter) const
{
    painter.save();
    QLinearGradient rim(-47, -47, 94, 94);
    rim.setColorAt(0.0, Qt::white);
    rim.setColorAt(0.3, QColor(60, 60, 60, 250));
    QPen pen;
    pen.setBrush(rim);
    pen.setWidth(3);
    painter.setPen(pen);
    painter.drawArc(-47, -47, 94, 94, 480, 6240); // more than a full turn
    painter.restore();
}

} // namespace dashboard
