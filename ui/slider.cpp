#include "slider.h"

#include <QDebug>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionSlider>
#include <algorithm>

Slider::Slider(QWidget *parent) : QSlider(parent)
{
    setOrientation(Qt::Horizontal);
    setMouseTracking(true); // moves arrive without a pressed button
}

void Slider::setMarked(double from, double to)
{
    if (from == markedFrom && to == markedTo)
        return;
    markedFrom = from;
    markedTo = to;
    update();
}

void Slider::paintEvent(QPaintEvent *event)
{
    QSlider::paintEvent(event);
    if (!hasMarked() || maximum() <= minimum())
        return;
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect groove =
        style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderGroove, this);
    const int handle = style()->pixelMetric(QStyle::PM_SliderLength, &option, this);
    // Where the handle's centre stands for each value.
    const double span = groove.width() - handle;
    auto x = [&](double v) {
        const double f = std::clamp((v - minimum()) / double(maximum() - minimum()), 0.0, 1.0);
        return groove.x() + handle / 2.0 + f * span;
    };
    QPainter painter(this);
    const QColor mark = palette().color(QPalette::Highlight);
    QColor fill = mark;
    fill.setAlpha(110);
    const QRectF band(QPointF(x(markedFrom), groove.center().y() - 3),
                      QPointF(x(markedTo), groove.center().y() + 3));
    painter.fillRect(band, fill);
    painter.fillRect(QRectF(band.left() - 1, groove.top(), 2, groove.height()), mark);
    painter.fillRect(QRectF(band.right() - 1, groove.top(), 2, groove.height()), mark);
}

void Slider::enterEvent(QEvent *event)
{
    emit onEnter();
    QSlider::enterEvent(event);
}

void Slider::leaveEvent(QEvent *event)
{
    emit onLeave();
    QSlider::leaveEvent(event);
}

void Slider::mouseMoveEvent(QMouseEvent *event)
{
    // One pixel less than the handle, as the time tips were tuned with.
    const int handle = style()->pixelMetric(QStyle::PM_SliderLength) - 1;
    const int value = QStyle::sliderValueFromPosition(minimum(), maximum(), event->x() - handle / 2,
                                                      width() - handle, false);
    emit onHover(event->x(), value);
    QSlider::mouseMoveEvent(event);
}

void Slider::mousePressEvent(QMouseEvent *event)
{
    qDebug("pressed (%d, %d)", event->x(), event->y());
    if (event->button() != Qt::LeftButton) {
        QSlider::mousePressEvent(event);
        return;
    }
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect handle =
        style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, this);
    const QPoint centre = handle.center() - handle.topLeft();
    if (handle.contains(event->pos())) {
        QSlider::mousePressEvent(event); // an ordinary drag of the handle
        return;
    }
    qDebug("accept");
    event->accept();
    const int value = pixelPosToRangeValue(pick(event->pos() - centre));
    setSliderPosition(value);
    triggerAction(QAbstractSlider::SliderMove);
    setRepeatAction(QAbstractSlider::SliderNoAction, 500, 50);
    emit sliderMoved(value);
    emit sliderPressed();
}

int Slider::pixelPosToRangeValue(int pos) const
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect groove =
        style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderGroove, this);
    const QRect handle =
        style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, this);
    int length, sliderMin, sliderMax;
    if (orientation() == Qt::Horizontal) {
        length = handle.width();
        sliderMin = groove.x();
        sliderMax = groove.right() - length + 1;
    } else {
        length = handle.height();
        sliderMin = groove.y();
        sliderMax = groove.bottom() - length + 1;
    }
    return QStyle::sliderValueFromPosition(minimum(), maximum(), pos - sliderMin,
                                           sliderMax - sliderMin, option.upsideDown);
}

int Slider::pick(const QPoint &pt) const
{
    return orientation() == Qt::Horizontal ? pt.x() : pt.y();
}
