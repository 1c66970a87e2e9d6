#pragma once

#include <QSlider>

// A slider that jumps straight to a left click off its handle, and reports
// the value under the pointer as it moves (for the hover preview).
class Slider : public QSlider
{
    Q_OBJECT
public:
    explicit Slider(QWidget *parent = nullptr);

signals:
    void onEnter();
    void onLeave();
    void onHover(int x, int value);

protected:
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

    int pixelPosToRangeValue(int pos) const;
    int pick(const QPoint &pt) const;
};
