#pragma once

#include <QColor>
#include <QPropertyAnimation>
#include <QString>
#include <QWidget>

// A round dial gauge, painted from its properties on every paint: scale with
// ticks and numbers, needle, numeric read-out, units, label, a threshold arc
// that raises an alarm, and optional valid and warning windows.
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

    double value() const { return m_value; }
    double minValue() const { return m_minValue; }
    double maxValue() const { return m_maxValue; }
    double threshold() const { return m_threshold; }
    int precision() const { return m_precision; }
    int precisionNumeric() const { return m_precisionNumeric; }
    QString units() const { return m_units; }
    QString label() const { return m_label; }
    int steps() const { return m_steps; }
    double startAngle() const { return m_startAngle; }
    double endAngle() const { return m_endAngle; }
    QColor foreground() const { return m_foreground; }
    QColor background() const { return m_background; }
    bool enableThreshold() const { return m_enableThreshold; }
    double beginValidValue() const { return m_beginValidValue; }
    double endValidValue() const { return m_endValidValue; }
    bool enableValidWindow() const { return m_enableValidWindow; }
    double beginWarningValue() const { return m_beginWarningValue; }
    double endWarningValue() const { return m_endWarningValue; }
    bool enableWarningWindow() const { return m_enableWarningWindow; }
    bool enableNumericIndicator() const { return m_enableNumericIndicator; }

    bool thresholdFlag() const { return m_thresholdFlag; } // the alarm is on

    // The dial angle of a value, in degrees counter-clockwise from 3 o'clock.
    double angleOf(double v) const;
    // The texts the dial shows: scale number i (0 .. steps) and the read-out.
    QString scaleText(int i) const;
    QString numericText() const;

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
    void drawBackground(QPainter *painter);
    void drawCoverGlass(QPainter *painter);
    void drawTicks(QPainter *painter);
    void drawScale(QPainter *painter);
    void drawUnits(QPainter *painter);
    void drawThresholdLine(QPainter *painter);
    void drawWarningWindow(QPainter *painter);
    void drawValidWindow(QPainter *painter);
    void drawNeedle(QPainter *painter);
    void drawNumericValue(QPainter *painter);
    void drawLabel(QPainter *painter);
    void drawCrown(QPainter *painter);

private:
    void drawWindow(QPainter *painter, double begin, double end, Qt::GlobalColor color);

    double m_value = 0;
    double m_maxValue = 240;
    double m_minValue = 0;
    int m_precision = 0;
    int m_precisionNumeric = 1;
    QString m_units = "Km/h";
    QString m_label;
    int m_steps = 10;
    double m_startAngle = 225.0;
    double m_endAngle = -45.0;
    double m_threshold = 80;
    bool m_thresholdFlag = false;
    bool m_enableValidWindow = false;
    double m_beginValidValue = 40.0;
    double m_endValidValue = 50.0;
    bool m_enableWarningWindow = false;
    double m_beginWarningValue = 30.0;
    double m_endWarningValue = 60.0;
    bool m_enableThreshold = true;
    bool m_enableNumericIndicator = true;
    QColor m_foreground = Qt::black;
    QColor m_background = Qt::white;
    QPropertyAnimation animation;
};
