// The time slider's click-to-position and hover value, and the clickable label.

#include "qclickedlabel.h"
#include "slider.h"

#include <QApplication>
#include <QSignalSpy>
#include <QStyleOptionSlider>
#include <QTest>
#include <memory>

class SliderTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Slider> slider;

    QRect handleRect()
    {
        QStyleOptionSlider option;
        option.initFrom(slider.get());
        option.orientation = slider->orientation();
        option.minimum = slider->minimum();
        option.maximum = slider->maximum();
        option.sliderPosition = slider->sliderPosition();
        option.sliderValue = slider->value();
        option.upsideDown = slider->orientation() == Qt::Vertical;
        return slider->style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle,
                                               slider.get());
    }

private slots:
    void init()
    {
        slider = std::make_unique<Slider>();
        slider->setRange(0, 100);
        slider->resize(400, 22);
        slider->show();
        QVERIFY(QTest::qWaitForWindowExposed(slider.get()));
    }
    void cleanup() { slider.reset(); }

    void isHorizontalAndTracksTheMouse()
    {
        QCOMPARE(slider->orientation(), Qt::Horizontal);
        QVERIFY(slider->hasMouseTracking());
    }

    void leftClickJumpsThere_data()
    {
        QTest::addColumn<int>("x");
        QTest::addColumn<int>("low");
        QTest::addColumn<int>("high");
        QTest::newRow("left of the groove") << 0 << 0 << 0;
        QTest::newRow("right of the groove") << 399 << 100 << 100;
        QTest::newRow("middle") << 200 << 48 << 52;
        QTest::newRow("three quarters") << 300 << 73 << 77;
    }
    void leftClickJumpsThere()
    {
        QFETCH(int, x);
        QFETCH(int, low);
        QFETCH(int, high);
        slider->setValue(10);
        QSignalSpy moved(slider.get(), &QSlider::sliderMoved);
        QSignalSpy pressed(slider.get(), &QSlider::sliderPressed);
        QStringList order;
        connect(slider.get(), &QSlider::sliderMoved, this, [&order] { order << "moved"; });
        connect(slider.get(), &QSlider::sliderPressed, this, [&order] { order << "pressed"; });
        QTest::mousePress(slider.get(), Qt::LeftButton, Qt::NoModifier, QPoint(x, 11));
        QVERIFY2(slider->value() >= low && slider->value() <= high,
                 qPrintable(QString::number(slider->value())));
        QCOMPARE(moved.count(), 1);
        QCOMPARE(moved.at(0).at(0).toInt(), slider->value());
        QCOMPARE(order, QStringList({"moved", "pressed"}));
        QTest::mouseRelease(slider.get(), Qt::LeftButton, Qt::NoModifier, QPoint(x, 11));
    }

    void clickOnTheHandleStartsADrag()
    {
        slider->setValue(50);
        const QPoint centre = handleRect().center();
        QSignalSpy moved(slider.get(), &QSlider::sliderMoved);
        QTest::mousePress(slider.get(), Qt::LeftButton, Qt::NoModifier, centre);
        QCOMPARE(moved.count(), 0);
        QVERIFY(slider->isSliderDown());
        QCOMPARE(slider->value(), 50);
        QTest::mouseRelease(slider.get(), Qt::LeftButton, Qt::NoModifier, centre);
    }

    void otherButtonsBehaveAsInAPlainSlider()
    {
        QSlider plain(Qt::Horizontal);
        plain.setRange(0, 100);
        plain.resize(400, 22);
        plain.show();
        QVERIFY(QTest::qWaitForWindowExposed(&plain));
        for (Qt::MouseButton button : {Qt::RightButton, Qt::MiddleButton}) {
            slider->setValue(10);
            plain.setValue(10);
            QTest::mousePress(slider.get(), button, Qt::NoModifier, QPoint(300, 11));
            QTest::mousePress(&plain, button, Qt::NoModifier, QPoint(300, 11));
            QTest::mouseRelease(slider.get(), button, Qt::NoModifier, QPoint(300, 11));
            QTest::mouseRelease(&plain, button, Qt::NoModifier, QPoint(300, 11));
            QCOMPARE(plain.width(), slider->width());
            QCOMPARE(slider->value(), plain.value());
        }
    }

    void verticalSliderJumpsByY()
    {
        slider->setOrientation(Qt::Vertical);
        slider->resize(24, 140);
        slider->setValue(0);
        // Vertical sliders run bottom to top: the top is the maximum.
        QTest::mousePress(slider.get(), Qt::LeftButton, Qt::NoModifier, QPoint(12, 0));
        QCOMPARE(slider->value(), 100);
        QTest::mouseRelease(slider.get(), Qt::LeftButton, Qt::NoModifier, QPoint(12, 0));
        QTest::mousePress(slider.get(), Qt::LeftButton, Qt::NoModifier, QPoint(12, 139));
        QCOMPARE(slider->value(), 0);
        QTest::mouseRelease(slider.get(), Qt::LeftButton, Qt::NoModifier, QPoint(12, 139));
    }

    void hoverReportsTheValueUnderThePointer()
    {
        QSignalSpy hover(slider.get(), &Slider::onHover);
        slider->setRange(0, 3725);
        const int handle = slider->style()->pixelMetric(QStyle::PM_SliderLength) - 1;
        for (int x : {0, 100, 200, 399}) {
            QMouseEvent move(QEvent::MouseMove, QPointF(x, 11), Qt::NoButton, Qt::NoButton,
                             Qt::NoModifier);
            QApplication::sendEvent(slider.get(), &move);
            const QList<QVariant> last = hover.takeLast();
            QCOMPARE(last.at(0).toInt(), x);
            const int expected =
                QStyle::sliderValueFromPosition(0, 3725, x - handle / 2, 400 - handle, false);
            QCOMPARE(last.at(1).toInt(), expected);
        }
        // The ends map to the range's ends, the middle to its middle.
        QMouseEvent atMiddle(QEvent::MouseMove, QPointF(200, 11), Qt::NoButton, Qt::NoButton,
                             Qt::NoModifier);
        QApplication::sendEvent(slider.get(), &atMiddle);
        QVERIFY(qAbs(hover.takeLast().at(1).toInt() - 3725 / 2) < 3725 / 50);
    }

    void enterAndLeave()
    {
        QSignalSpy enter(slider.get(), &Slider::onEnter);
        QSignalSpy leave(slider.get(), &Slider::onLeave);
        QEvent in(QEvent::Enter);
        QApplication::sendEvent(slider.get(), &in);
        QEvent out(QEvent::Leave);
        QApplication::sendEvent(slider.get(), &out);
        QCOMPARE(enter.count(), 1);
        QCOMPARE(leave.count(), 1);
    }

    void labelReportsClicksOfAnyButton()
    {
        QClickedLabel label;
        label.resize(80, 45);
        label.show();
        QVERIFY(QTest::qWaitForWindowExposed(&label));
        QSignalSpy clicked(&label, &QClickedLabel::Clicked);
        QTest::mouseClick(&label, Qt::LeftButton);
        QTest::mouseClick(&label, Qt::RightButton);
        QCOMPARE(clicked.count(), 2);
        QCOMPARE(clicked.at(0).at(0).value<QClickedLabel *>(), &label);
        QVERIFY(QMetaType::type("QClickedLabel*") != QMetaType::UnknownType);
    }
};

QTEST_MAIN(SliderTest)
#include "tst_slider.moc"
