#pragma once

#include <QLabel>

// A label that reports clicks (the snapshot thumbnail).
class QClickedLabel : public QLabel
{
    Q_OBJECT
public:
    explicit QClickedLabel(QWidget *parent = nullptr);

signals:
    void Clicked(QClickedLabel *label);

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
};

Q_DECLARE_METATYPE(QClickedLabel *)
