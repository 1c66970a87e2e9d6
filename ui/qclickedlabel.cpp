#include "qclickedlabel.h"

QClickedLabel::QClickedLabel(QWidget *parent) : QLabel(parent)
{
    qRegisterMetaType<QClickedLabel *>("QClickedLabel*");
}

void QClickedLabel::mouseReleaseEvent(QMouseEvent *)
{
    emit Clicked(this); // any button; the label itself does nothing with it
}
