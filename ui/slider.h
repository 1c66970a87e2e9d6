#pragma once

#include <QSlider>

// A slider that jumps straight to a left click off its handle, reports the
// value under the pointer as it moves (for the hover preview), and shows a
// marked stretch (the one to export) along its groove.
class Slider : public QSlider
{
    Q_OBJECT
public:
    explicit Slider(QWidget *parent = nullptr);
    // A marked stretch drawn along the groove, in the slider's units; from
    // above to: none.
    void setMarked(double from, double to);
    bool hasMarked() const { return markedTo > markedFrom; }
    double marked(bool end) const { return end ? markedTo : markedFrom; }

signals:
    void onEnter();
    void onLeave();
    void onHover(int x, int value);

protected:
    void paintEvent(QPaintEvent *event) override;
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

    int pixelPosToRangeValue(int pos) const;
    int pick(const QPoint &pt) const;

private:
    double markedFrom = 0.0;
    double markedTo = -1.0;
};
