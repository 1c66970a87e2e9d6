#pragma once

// A round dial gauge as plain data and its painting, with no widget: the
// window's speed gauge and the dashboard burnt into exported videos paint
// with this same code. Scale with ticks and numbers, needle, numeric
// read-out, units, label, a threshold arc, and optional valid and warning
// windows.

#include <QColor>
#include <QFont>
#include <QRect>
#include <QString>

class QPainter;

namespace dashboard {

struct Gauge
{
    double value = 0;
    double minValue = 0;
    double maxValue = 240;
    double threshold = 80;
    int precision = 0;        // of the scale numbers
    int precisionNumeric = 1; // of the read-out
    QString units = QStringLiteral("Km/h");
    QString label;
    int steps = 10;
    double startAngle = 225.0;
    double endAngle = -45.0;
    QColor foreground = Qt::black;
    QColor background = Qt::white;
    bool enableThreshold = true;
    bool alarm = false; // the read-out shows red
    bool enableNumericIndicator = true;
    bool enableValidWindow = false;
    double beginValidValue = 40.0;
    double endValidValue = 50.0;
    bool enableWarningWindow = false;
    double beginWarningValue = 30.0;
    double endWarningValue = 60.0;

    // The dial angle of a value, in degrees counter-clockwise from 3 o'clock.
    double angleOf(double v) const;
    // The texts the dial shows: scale number i (0 .. steps) and the read-out.
    QString scaleText(int i) const;
    QString numericText() const;

    // The dial, as large as fits in `area` and centred there. A label wider
    // than the dial in the painter's font sets `shrunkLabelFont` (when given)
    // to the font the label should take from the next paint on, and
    // returns true.
    bool paint(QPainter &painter, const QRect &area, QFont *shrunkLabelFont = nullptr) const;

private:
    void drawBackground(QPainter &painter) const;
    void drawCoverGlass(QPainter &painter) const;
    void drawTicks(QPainter &painter) const;
    void drawScale(QPainter &painter) const;
    void drawUnits(QPainter &painter) const;
    void drawThresholdLine(QPainter &painter) const;
    void drawWindow(QPainter &painter, double begin, double end, Qt::GlobalColor color) const;
    void drawNeedle(QPainter &painter) const;
    void drawNumericValue(QPainter &painter) const;
    bool drawLabel(QPainter &painter, const QFont &given, QFont *shrunk) const;
    void drawCrown(QPainter &painter) const;
};

} // namespace dashboard
