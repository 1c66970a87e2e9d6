#pragma once

#include "gauge.h"

#include <QColor>
#include <QPropertyAnimation>
#include <QString>
#include <QWidget>

// The speed gauge as a widget: the dial of dashboard::Gauge, whose painting
// the exported videos share, with properties, an alarm signal when the value
// crosses the threshold, and a spring animation.
class QMeter : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(double value READ value WRITE setValue)
    Q_PROPERTY(double minValue READ minValue WRITE setMinValue)
    Q_PROPERTY(double maxValue READ maxValue WRITE setMaxValue)
    Q_PROPERTY(double threshold READ threshold WRITE setThreshold)
    Q_PROPERTY(int precision READ precision WRITE setPrecision)
    Q_PROPERTY(int precisionNumeric READ precisionNumeric WRITE setPrecisionNumeric)
    Q_PROPERTY(QString units READ units WRITE setUnits)
    Q_PROPERTY(QString label READ label WRITE setLabel)
    Q_PROPERTY(int steps READ steps WRITE setSteps)
    Q_PROPERTY(double startAngle READ startAngle WRITE setStartAngle)
    Q_PROPERTY(double endAngle READ endAngle WRITE setEndAngle)
    Q_PROPERTY(QColor foreground READ foreground WRITE setForeground)
    Q_PROPERTY(QColor background READ background WRITE setBackground)
    Q_PROPERTY(bool enableThreshold READ enableThreshold WRITE setThresholdEnabled)
    Q_PROPERTY(double beginValidValue READ beginValidValue WRITE setBeginValidValue)
    Q_PROPERTY(double endValidValue READ endValidValue WRITE setEndValidValue)
    Q_PROPERTY(bool enableValidWindow READ enableValidWindow WRITE setEnableValidWindow)
    Q_PROPERTY(double beginWarningValue READ beginWarningValue WRITE setBeginWarningValue)
    Q_PROPERTY(double endWarningValue READ endWarningValue WRITE setEndWarningValue)
    Q_PROPERTY(bool enableWarningWindow READ enableWarningWindow WRITE setEnableWarningWindow)
    Q_PROPERTY(
        bool enableNumericIndicator READ enableNumericIndicator WRITE setNumericIndicatorEnabled)

public:
    explicit QMeter(QWidget *parent = nullptr);

    double value() const { return g.value; }
    double minValue() const { return g.minValue; }
    double maxValue() const { return g.maxValue; }
    double threshold() const { return g.threshold; }
    int precision() const { return g.precision; }
    int precisionNumeric() const { return g.precisionNumeric; }
    QString units() const { return g.units; }
    QString label() const { return g.label; }
    int steps() const { return g.steps; }
    double startAngle() const { return g.startAngle; }
    double endAngle() const { return g.endAngle; }
    QColor foreground() const { return g.foreground; }
    QColor background() const { return g.background; }
    bool enableThreshold() const { return g.enableThreshold; }
    double beginValidValue() const { return g.beginValidValue; }
    double endValidValue() const { return g.endValidValue; }
    bool enableValidWindow() const { return g.enableValidWindow; }
    double beginWarningValue() const { return g.beginWarningValue; }
    double endWarningValue() const { return g.endWarningValue; }
    bool enableWarningWindow() const { return g.enableWarningWindow; }
    bool enableNumericIndicator() const { return g.enableNumericIndicator; }

    bool thresholdFlag() const { return m_thresholdFlag; } // the alarm is on

    // The dial angle of a value, in degrees counter-clockwise from 3 o'clock.
    double angleOf(double v) const { return g.angleOf(v); }
    // The texts the dial shows: scale number i (0 .. steps) and the read-out.
    QString scaleText(int i) const { return g.scaleText(i); }
    QString numericText() const { return g.numericText(); }
    // What it paints, for painting elsewhere (the exported dashboard).
    const dashboard::Gauge &gauge() const { return g; }

    void thresholdManager();

signals:
    void
    errorSignal(int code); // 1: max not above min; 3: threshold off the scale; 8: value clamped
    void thresholdAlarm(bool on);

public slots:
    void setValue(double value);
    void setValue(int value);
    void setMinValue(double value);
    void setMinValue(int value);
    void setMaxValue(double value);
    void setMaxValue(int value);
    void setThreshold(double value);
    void setThreshold(int value);
    void setPrecision(int precision);
    void setPrecisionNumeric(int precision);
    void setSteps(int steps);
    void setUnits(QString units);
    void setLabel(QString label);
    void setStartAngle(double angle);
    void setEndAngle(double angle);
    void setForeground(QColor color);
    void setBackground(QColor color);
    void setThresholdEnabled(bool enabled);
    void setNumericIndicatorEnabled(bool enabled);
    void setEnableValidWindow(bool enabled);
    void setBeginValidValue(double value);
    void setEndValidValue(double value);
    void setEnableWarningWindow(bool enabled);
    void setBeginWarningValue(double value);
    void setEndWarningValue(double value);
    void setValueWithSpringEffect(int value);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    dashboard::Gauge g;
    bool m_thresholdFlag = false;
    QPropertyAnimation animation;
};
