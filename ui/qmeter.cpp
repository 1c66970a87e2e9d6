#include "qmeter.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QtMath>
#include <cmath>

QMeter::QMeter(QWidget *parent) : QWidget(parent)
{
    setMinimumSize(80, 80);
    setMinValue(0.0);
    setMaxValue(240.0);
    setValue(0.0);
    setStartAngle(225.0);
    setEndAngle(-45.0);
    setLabel(QString());
    setUnits("Km/h");
    setThreshold(80.0);
    setEnableValidWindow(false);
    setBeginValidValue(40.0);
    setEndValidValue(50.0);
    setEnableWarningWindow(false);
    setBeginWarningValue(30.0);
    setEndWarningValue(60.0);
    setPrecisionNumeric(1);
    animation.setTargetObject(this);
    animation.setPropertyName("value");
    animation.setDuration(1000);
}

double QMeter::angleOf(double v) const
{
    return m_startAngle +
           (m_endAngle - m_startAngle) / (m_maxValue - m_minValue) * (v - m_minValue);
}

QString QMeter::scaleText(int i) const
{
    const double number = i * ((m_maxValue - m_minValue) / m_steps) + m_minValue;
    return QString("%1").arg(number, 0, 'f', m_precision, QLatin1Char(' '));
}

QString QMeter::numericText() const
{
    return QString("%1").arg(m_value, 0, 'f', m_precisionNumeric, QLatin1Char(' '));
}

void QMeter::thresholdManager()
{
    if (m_value > m_threshold && !m_thresholdFlag) {
        m_thresholdFlag = true;
        emit thresholdAlarm(true);
    } else if (m_value < m_threshold && m_thresholdFlag) {
        m_thresholdFlag = false;
        emit thresholdAlarm(false);
    }
}

void QMeter::setValue(double value)
{
    if (value > m_maxValue) {
        m_value = m_maxValue;
        emit errorSignal(8);
    } else if (value < m_minValue) {
        m_value = m_minValue;
        emit errorSignal(8);
    } else {
        m_value = value;
    }
    if (m_enableThreshold)
        thresholdManager();
    update();
}

void QMeter::setValue(int value)
{
    setValue(double(value));
    update();
}

void QMeter::setMinValue(double value)
{
    m_minValue = value;
    update();
}

void QMeter::setMinValue(int value)
{
    setMinValue(double(value));
}

void QMeter::setMaxValue(double value)
{
    if (value > m_minValue) {
        m_maxValue = value;
        update();
    } else {
        emit errorSignal(1);
    }
}

void QMeter::setMaxValue(int value)
{
    setMaxValue(double(value));
}

void QMeter::setThreshold(double value)
{
    if (value > m_minValue && value < m_maxValue) {
        m_threshold = value;
        update();
    } else {
        emit errorSignal(3);
    }
}

void QMeter::setThreshold(int value)
{
    setThreshold(double(value));
}

#define QMETER_SETTER(name, type, field)                                                           \
    void QMeter::name(type v)                                                                      \
    {                                                                                              \
        field = v;                                                                                 \
        update();                                                                                  \
    }

QMETER_SETTER(setPrecision, int, m_precision)
QMETER_SETTER(setPrecisionNumeric, int, m_precisionNumeric)
QMETER_SETTER(setSteps, int, m_steps)
QMETER_SETTER(setUnits, QString, m_units)
QMETER_SETTER(setLabel, QString, m_label)
QMETER_SETTER(setStartAngle, double, m_startAngle)
QMETER_SETTER(setEndAngle, double, m_endAngle)
QMETER_SETTER(setForeground, QColor, m_foreground)
QMETER_SETTER(setBackground, QColor, m_background)
QMETER_SETTER(setThresholdEnabled, bool, m_enableThreshold)
QMETER_SETTER(setNumericIndicatorEnabled, bool, m_enableNumericIndicator)
QMETER_SETTER(setEnableValidWindow, bool, m_enableValidWindow)
QMETER_SETTER(setBeginValidValue, double, m_beginValidValue)
QMETER_SETTER(setEndValidValue, double, m_endValidValue)
QMETER_SETTER(setEnableWarningWindow, bool, m_enableWarningWindow)
QMETER_SETTER(setBeginWarningValue, double, m_beginWarningValue)
QMETER_SETTER(setEndWarningValue, double, m_endWarningValue)
#undef QMETER_SETTER

void QMeter::setValueWithSpringEffect(int value)
{
    animation.stop(); // a new target restarts from the value shown now
    animation.setStartValue(QVariant(m_value));
    animation.setEndValue(QVariant(double(value)));
    animation.setEasingCurve(QEasingCurve::OutBack);
    animation.start(QAbstractAnimation::KeepWhenStopped);
}

void QMeter::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const int side = qMin(width(), height());
    painter.setViewport((width() - side) / 2, (height() - side) / 2, side, side);
    painter.setWindow(-50, -50, 100, 100);

    drawBackground(&painter);
    drawCoverGlass(&painter);
    drawTicks(&painter);
    drawScale(&painter);
    drawUnits(&painter);
    drawThresholdLine(&painter);
    drawWarningWindow(&painter);
    drawValidWindow(&painter);
    drawNeedle(&painter);
    drawNumericValue(&painter);
    drawLabel(&painter);
    drawCrown(&painter);
}

void QMeter::drawBackground(QPainter *painter)
{
    painter->setBrush(m_background); // stays on the painter
    painter->drawEllipse(-45, -45, 90, 90);
}

void QMeter::drawCoverGlass(QPainter *painter)
{
    painter->save();
    QLinearGradient glass(-15, -45, 90, 75);
    glass.setColorAt(0.0, QColor(255, 255, 255, 30));
    glass.setColorAt(0.3, QColor(120, 120, 120, 20));
    QPen pen(QColor(0, 0, 0, 0));
    pen.setBrush(glass);
    pen.setWidth(0);
    painter->setPen(pen);
    painter->setBrush(glass);
    painter->drawEllipse(-45, -45, 90, 90);
    painter->restore();
}

void QMeter::drawTicks(QPainter *painter)
{
    QPen pen(m_foreground);
    pen.setWidth(0);
    painter->save();
    painter->setPen(pen);
    painter->rotate(-m_startAngle);
    for (int i = 0; i <= m_steps; ++i) {
        painter->drawLine(28, 0, 30, 0);
        painter->rotate((m_startAngle - m_endAngle) / m_steps);
    }
    painter->restore();
    painter->setPen(pen);
    painter->drawArc(-28, -28, 56, 56, int(m_startAngle * 16),
                     int((m_endAngle - m_startAngle) * 16));
}

void QMeter::drawScale(QPainter *painter)
{
    painter->save();
    painter->setPen(m_foreground);
    const double a0 = m_startAngle * 3.1415926535 / 180.0 + 1.57079632675;
    const double da = ((m_endAngle - m_startAngle) / m_steps) * 0.017453292519444445;
    for (int i = 0; i <= m_steps; ++i) {
        QFont font = painter->font();
        font.setPointSize(6);
        painter->setFont(font);
        const double a = a0 + i * da;
        const QString text = scaleText(i);
        const QSizeF size = QFontMetricsF(painter->font()).size(Qt::TextSingleLine, text);
        painter->drawText(QPoint(int(std::sin(a) * 38.0 + size.width() / -2.0),
                                 int(std::cos(a) * 38.0 + size.height() / 4.0)),
                          text);
    }
    painter->restore();
}

void QMeter::drawUnits(QPainter *painter)
{
    painter->setPen(m_foreground);
    painter->setBrush(m_foreground);
    painter->setPen(m_foreground);
    QFont font = painter->font();
    font.setPointSize(8); // stays for the read-out and the label
    painter->setFont(font);
    painter->drawText(QRectF(-15, -20, 30, 10), Qt::AlignCenter, m_units);
}

void QMeter::drawThresholdLine(QPainter *painter)
{
    if (!m_enableThreshold)
        return;
    painter->save();
    const double ta = angleOf(m_threshold);
    QPen pen(Qt::green);
    pen.setWidth(3);
    painter->setPen(pen);
    painter->drawArc(-25, -25, 50, 50, int(m_startAngle) * 16, int(ta - m_startAngle) * 16);
    pen.setColor(Qt::red);
    painter->setPen(pen);
    painter->drawArc(-25, -25, 50, 50, int(ta) * 16, int(m_endAngle - ta) * 16);
    painter->restore();
}

void QMeter::drawWindow(QPainter *painter, double begin, double end, Qt::GlobalColor color)
{
    const double a1 = angleOf(begin);
    const double a2 = angleOf(end);
    QPen pen(color);
    pen.setWidth(2);
    painter->setPen(pen); // stays
    if (a1 <= a2)
        painter->drawArc(-25, -25, 50, 50, int(a1) * 16, int(a2 - a1) * 16);
    else
        painter->drawArc(-25, -25, 50, 50, int(a2) * 16, int(a1 - a2) * 16);
}

void QMeter::drawWarningWindow(QPainter *painter)
{
    if (m_enableWarningWindow)
        drawWindow(painter, m_beginWarningValue, m_endWarningValue, Qt::yellow);
}

void QMeter::drawValidWindow(QPainter *painter)
{
    if (m_enableValidWindow)
        drawWindow(painter, m_beginValidValue, m_endValidValue, Qt::green);
}

void QMeter::drawNeedle(QPainter *painter)
{
    painter->save();
    painter->rotate(-90.0);
    const int degrees = int(angleOf(m_value)); // whole degrees
    painter->rotate(-degrees);
    QColor edge(Qt::darkRed);
    edge.setAlpha(90);
    painter->setPen(edge);
    QRadialGradient fill(QPointF(0, 0), 20.0, QPointF(0, 0));
    fill.setColorAt(0.0, QColor(255, 120, 120, 255));
    fill.setColorAt(1.0, QColor(200, 20, 20, 255));
    painter->setBrush(fill);
    const QPoint outer[3] = {QPoint(-2, 0), QPoint(2, 0), QPoint(0, 30)};
    painter->drawConvexPolygon(outer, 3);
    painter->setBrush(QColor(255, 120, 120, 255));
    const QPoint inner[3] = {QPoint(-1, 0), QPoint(1, 0), QPoint(0, 29)};
    painter->drawConvexPolygon(inner, 3);
    painter->restore();

    QLinearGradient hub(-7, -7, 14, 14);
    hub.setColorAt(0.0, Qt::white);
    hub.setColorAt(1.0, Qt::black);
    painter->setPen(Qt::NoPen);
    painter->setBrush(hub);
    painter->drawEllipse(-7, -7, 14, 14);
}

void QMeter::drawNumericValue(QPainter *painter)
{
    if (!m_enableNumericIndicator)
        return;
    painter->save();
    const QString text = numericText();
    painter->setPen(m_thresholdFlag ? Qt::red : Qt::green);
    QFont font = painter->font();
    font.setBold(false);
    painter->setFont(font);
    painter->drawText(QRectF(-15, 25, 30, 10), Qt::AlignCenter, text);
    painter->restore();
}

void QMeter::drawLabel(QPainter *painter)
{
    painter->save();
    painter->setPen(m_foreground);
    painter->setBrush(m_foreground);
    painter->setPen(m_foreground);
    const QRectF rect(-20, 15, 40, 10);
    const double w = QFontMetricsF(font()).size(Qt::TextSingleLine, m_label).width();
    if (40 < w) {
        // Shows from the next paint on.
        QFont smaller = painter->font();
        smaller.setPointSize(smaller.pointSize() - 1);
        setFont(smaller);
    }
    painter->drawText(rect, Qt::AlignCenter, m_label);
    painter->restore();
}

void QMeter::drawCrown(QPainter *painter)
{
    painter->save();
    QLinearGradient rim(-47, -47, 94, 94);
    rim.setColorAt(0.0, Qt::white);
    rim.setColorAt(0.3, QColor(60, 60, 60, 250));
    QPen pen;
    pen.setBrush(rim);
    pen.setWidth(3);
    painter->setPen(pen);
    painter->drawArc(-47, -47, 94, 94, 480, 6240); // more than a full turn
    painter->restore();
}
