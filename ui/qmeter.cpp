#include "qmeter.h"

#include <QPainter>

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

void QMeter::thresholdManager()
{
    if (g.value > g.threshold && !m_thresholdFlag) {
        m_thresholdFlag = true;
        emit thresholdAlarm(true);
    } else if (g.value < g.threshold && m_thresholdFlag) {
        m_thresholdFlag = false;
        emit thresholdAlarm(false);
    }
}

void QMeter::setValue(double value)
{
    if (value > g.maxValue) {
        g.value = g.maxValue;
        emit errorSignal(8);
    } else if (value < g.minValue) {
        g.value = g.minValue;
        emit errorSignal(8);
    } else {
        g.value = value;
    }
    if (g.enableThreshold)
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
    g.minValue = value;
    update();
}

void QMeter::setMinValue(int value)
{
    setMinValue(double(value));
}

void QMeter::setMaxValue(double value)
{
    if (value > g.minValue) {
        g.maxValue = value;
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
    if (value > g.minValue && value < g.maxValue) {
        g.threshold = value;
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

QMETER_SETTER(setPrecision, int, g.precision)
QMETER_SETTER(setPrecisionNumeric, int, g.precisionNumeric)
QMETER_SETTER(setSteps, int, g.steps)
QMETER_SETTER(setUnits, QString, g.units)
QMETER_SETTER(setLabel, QString, g.label)
QMETER_SETTER(setStartAngle, double, g.startAngle)
QMETER_SETTER(setEndAngle, double, g.endAngle)
QMETER_SETTER(setForeground, QColor, g.foreground)
QMETER_SETTER(setBackground, QColor, g.background)
QMETER_SETTER(setThresholdEnabled, bool, g.enableThreshold)
QMETER_SETTER(setNumericIndicatorEnabled, bool, g.enableNumericIndicator)
QMETER_SETTER(setEnableValidWindow, bool, g.enableValidWindow)
QMETER_SETTER(setBeginValidValue, double, g.beginValidValue)
QMETER_SETTER(setEndValidValue, double, g.endValidValue)
QMETER_SETTER(setEnableWarningWindow, bool, g.enableWarningWindow)
QMETER_SETTER(setBeginWarningValue, double, g.beginWarningValue)
QMETER_SETTER(setEndWarningValue, double, g.endWarningValue)
#undef QMETER_SETTER

void QMeter::setValueWithSpringEffect(int value)
{
    animation.stop(); // a new target restarts from the value shown now
    animation.setStartValue(QVariant(g.value));
    animation.setEndValue(QVariant(double(value)));
    animation.setEasingCurve(QEasingCurve::OutBack);
    animation.start(QAbstractAnimation::KeepWhenStopped);
}

void QMeter::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    g.alarm = m_thresholdFlag;
    QFont shrunk;
    if (g.paint(painter, rect(), &shrunk))
        setFont(shrunk); // a label too wide for the dial: smaller from the next paint
}
