// The speed gauge: setter rules, signals, and what it paints.

#include "qmeter.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <QtMath>

namespace {

bool isNeedleRed(QRgb c)
{
    return qRed(c) > 150 && qGreen(c) < 140 && qBlue(c) < 140;
}

bool isWhite(QRgb c)
{
    return qRed(c) > 230 && qGreen(c) > 230 && qBlue(c) > 230;
}

// The pixel at `radius` logical units from the centre, along a dial angle,
// for a square widget of `side` pixels.
QPoint along(int side, double degrees, double radius)
{
    const double scale = side / 100.0;
    return QPoint(qRound(side / 2.0 + radius * scale * std::cos(qDegreesToRadians(degrees))),
                  qRound(side / 2.0 - radius * scale * std::sin(qDegreesToRadians(degrees))));
}

} // namespace

class QMeterTest : public QObject
{
    Q_OBJECT

private slots:
    void defaults()
    {
        QMeter m;
        QCOMPARE(m.value(), 0.0);
        QCOMPARE(m.minValue(), 0.0);
        QCOMPARE(m.maxValue(), 240.0);
        QCOMPARE(m.precision(), 0);
        QCOMPARE(m.precisionNumeric(), 1);
        QCOMPARE(m.units(), QString("Km/h"));
        QCOMPARE(m.label(), QString());
        QCOMPARE(m.steps(), 10);
        QCOMPARE(m.startAngle(), 225.0);
        QCOMPARE(m.endAngle(), -45.0);
        QCOMPARE(m.threshold(), 80.0);
        QCOMPARE(m.thresholdFlag(), false);
        QCOMPARE(m.enableValidWindow(), false);
        QCOMPARE(m.beginValidValue(), 40.0);
        QCOMPARE(m.endValidValue(), 50.0);
        QCOMPARE(m.enableWarningWindow(), false);
        QCOMPARE(m.beginWarningValue(), 30.0);
        QCOMPARE(m.endWarningValue(), 60.0);
        QCOMPARE(m.enableThreshold(), true);
        QCOMPARE(m.enableNumericIndicator(), true);
        QCOMPARE(m.foreground(), QColor(Qt::black));
        QCOMPARE(m.background(), QColor(Qt::white));
        QCOMPARE(m.minimumSize(), QSize(80, 80));
        // The animated property must be a writable double.
        QCOMPARE(m.property("value").userType(), int(QMetaType::Double));
        QVERIFY(m.setProperty("value", 12.5));
        QCOMPARE(m.value(), 12.5);
    }

    void valueAboveTheScaleIsClamped()
    {
        QMeter m;
        QSignalSpy errors(&m, &QMeter::errorSignal);
        QSignalSpy alarms(&m, &QMeter::thresholdAlarm);
        m.setValue(250.0);
        QCOMPARE(m.value(), 240.0);
        QCOMPARE(errors.count(), 1);
        QCOMPARE(errors.at(0).at(0).toInt(), 8);
        QCOMPARE(alarms.count(), 1);
        QCOMPARE(alarms.at(0).at(0).toBool(), true);
        m.setValue(-3);
        QCOMPARE(m.value(), 0.0);
        QCOMPARE(errors.count(), 2);
        QCOMPARE(errors.at(1).at(0).toInt(), 8);
    }

    void alarmHasAOnePointHysteresis()
    {
        QMeter m;
        QSignalSpy alarms(&m, &QMeter::thresholdAlarm);
        m.setValue(100.0);
        QCOMPARE(alarms.count(), 1);
        m.setValue(80.0); // equal: no change
        QCOMPARE(alarms.count(), 1);
        QVERIFY(m.thresholdFlag());
        m.setValue(79.9);
        QCOMPARE(alarms.count(), 2);
        QCOMPARE(alarms.at(1).at(0).toBool(), false);
        m.setValue(80.0);
        QCOMPARE(alarms.count(), 2);
        QVERIFY(!m.thresholdFlag());
    }

    void refusedSetters()
    {
        QMeter m;
        QSignalSpy errors(&m, &QMeter::errorSignal);
        m.setMaxValue(0.0);
        QCOMPARE(m.maxValue(), 240.0);
        QCOMPARE(errors.at(0).at(0).toInt(), 1);
        m.setThreshold(240.0);
        QCOMPARE(m.threshold(), 80.0);
        QCOMPARE(errors.at(1).at(0).toInt(), 3);
        m.setThreshold(0);
        QCOMPARE(errors.at(2).at(0).toInt(), 3);
        m.setMaxValue(120); // the int variants forward
        QCOMPARE(m.maxValue(), 120.0);
        m.setMinValue(500); // never checked
        QCOMPARE(m.minValue(), 500.0);
        QCOMPARE(errors.count(), 3);
    }

    void scaleAndReadoutTexts()
    {
        QMeter m;
        QStringList scale;
        for (int i = 0; i <= m.steps(); ++i)
            scale << m.scaleText(i);
        QCOMPARE(scale, QStringList({"0", "24", "48", "72", "96", "120", "144", "168", "192", "216",
                                     "240"}));
        m.setValue(35.5);
        QCOMPARE(m.numericText(), QString("35.5"));
        m.setValue(35);
        QCOMPARE(m.numericText(), QString("35.0"));
    }

    void needleAngleInWholeDegrees()
    {
        QMeter m;
        QVERIFY(qAbs(m.angleOf(35.9) - 184.6125) < 1e-9);
        QCOMPARE(m.angleOf(0), 225.0);
        QCOMPARE(m.angleOf(240), -45.0);

        m.resize(200, 200);
        m.setThresholdEnabled(false); // no coloured arc under the needle
        m.setNumericIndicatorEnabled(false);
        m.setValue(35.9);
        const QImage at184 = m.grab().toImage();
        // Along 184 degrees the needle is there; 8 degrees off it is not.
        QVERIFY(isNeedleRed(at184.pixel(along(200, 184, 20))));
        QVERIFY(isWhite(at184.pixel(along(200, 192, 20))));
        QVERIFY(isWhite(at184.pixel(along(200, 176, 20))));
        // 36.2 maps to 184.275, also drawn at 184 (whole degrees): same picture.
        m.setValue(36.2);
        QCOMPARE(m.grab().toImage(), at184);
        m.setValue(120.0); // straight up
        const QImage up = m.grab().toImage();
        QVERIFY(isNeedleRed(up.pixel(along(200, 90, 20))));
        QVERIFY(isWhite(up.pixel(along(200, 184, 20))));
    }

    void dialIsCentredInAWideWidget()
    {
        QMeter m;
        m.resize(300, 100);
        QImage image(300, 100, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        m.render(&image, QPoint(), QRegion(), QWidget::DrawChildren); // no window background
        auto opaque = [&image](int x, int y) { return qAlpha(image.pixel(x, y)) > 0; };
        for (int x : {0, 50, 98, 202, 250, 299})
            QVERIFY2(!opaque(x, 50), qPrintable(QString::number(x)));
        // The face (white) just above the bottom of the dial, in the middle.
        QVERIFY(isWhite(image.pixel(150, 88)));
        // The rim on both sides, at the dial's edge (47 units from the centre).
        QVERIFY(opaque(103, 50) && opaque(197, 50));
        int left = 300, right = 0;
        for (int x = 0; x < 300; ++x)
            if (opaque(x, 50)) {
                left = qMin(left, x);
                right = qMax(right, x);
            }
        QVERIFY2(qAbs((left + right) / 2.0 - 150) <= 1.0,
                 qPrintable(QString("%1..%2").arg(left).arg(right)));
        QVERIFY2(right - left <= 100 && right - left >= 94,
                 qPrintable(QString("%1..%2").arg(left).arg(right)));
    }

    void disabledThresholdKeepsTheLastAlarmColour()
    {
        QMeter m;
        QSignalSpy alarms(&m, &QMeter::thresholdAlarm);
        m.setValue(100.0);
        QCOMPARE(alarms.count(), 1);
        m.setThresholdEnabled(false);
        m.setValue(10.0);
        QCOMPARE(alarms.count(), 1);
        QVERIFY(m.thresholdFlag()); // the read-out stays red
        m.resize(200, 200);
        const QImage image = m.grab().toImage();
        // The read-out sits at (0, 30) logical: look for red text pixels there.
        int red = 0, green = 0;
        for (int y = 2 * (50 + 25); y < 2 * (50 + 35); ++y)
            for (int x = 2 * 35; x < 2 * 65; ++x) {
                const QRgb c = image.pixel(x, y);
                red += qRed(c) > 150 && qGreen(c) < 100 && qBlue(c) < 100;
                green += qGreen(c) > 100 && qRed(c) < 100 && qBlue(c) < 100;
            }
        QVERIFY2(red > 5 && green == 0,
                 qPrintable(QString("red %1, green %2").arg(red).arg(green)));
        // Nor is the threshold arc drawn: no pure green or red on its circle.
        QVERIFY(!isNeedleRed(image.pixel(along(200, 0, 25))));
    }

    void springEffectOvershootsThenSettles()
    {
        QMeter m;
        double highest = 0;
        m.setValueWithSpringEffect(100);
        for (int i = 0; i < 70; ++i) {
            QTest::qWait(20);
            highest = qMax(highest, m.value());
        }
        QCOMPARE(m.value(), 100.0);
        QVERIFY2(highest > 100.5, qPrintable(QString::number(highest))); // OutBack overshoot
        // A new target starts from where the needle is.
        m.setValueWithSpringEffect(20);
        QTest::qWait(30);
        QVERIFY(m.value() < 100.0 && m.value() > 20.0);
        QTRY_COMPARE(m.value(), 20.0);
    }

    void longLabelShrinksTheFontFromTheNextPaint()
    {
        QMeter m;
        m.resize(200, 200);
        m.setLabel("a label far too long to fit under the dial");
        m.grab();
        QCOMPARE(m.font().pointSize(), 7); // the painter's 8 points, less one
    }

    void settersRepaint()
    {
        QMeter m;
        m.setUnits("Mp/H");
        QCOMPARE(m.units(), QString("Mp/H"));
        m.setSteps(4);
        QCOMPARE(m.scaleText(4), QString("240"));
        m.setPrecision(1);
        QCOMPARE(m.scaleText(1), QString("60.0"));
        m.setEnableWarningWindow(true);
        m.setEnableValidWindow(true);
        m.resize(120, 120);
        QVERIFY(!m.grab().isNull()); // all layers paint
    }
};

QTEST_MAIN(QMeterTest)
#include "tst_qmeter.moc"
