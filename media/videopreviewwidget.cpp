#include "videopreviewwidget.h"

#include "previewdecoder.h"

#include <QPainter>

namespace media {

VideoPreviewWidget::VideoPreviewWidget(QWidget *parent)
    : QWidget(parent), decoder(new PreviewDecoder(this))
{
    resize(160, 90);
}

VideoPreviewWidget::~VideoPreviewWidget()
{
    delete decoder;
}

void VideoPreviewWidget::setFile(const QString &file)
{
    if (file == path)
        return;
    path = file;
    if (path.isEmpty()) {
        shown = QImage();
        shownAt = -1;
        update();
    }
}

void VideoPreviewWidget::preview()
{
    if (path.isEmpty())
        return;
    const QSize size =
        (this->size().isEmpty() ? QSize(160, 90) : this->size()) * devicePixelRatioF();
    decoder->request(path, requested, size, ++serial);
}

void VideoPreviewWidget::deliver(const QImage &image, qint64 ms, quint64 from)
{
    if (from != serial || path.isEmpty())
        return; // an answer to an older request
    shown = image;
    shown.setDevicePixelRatio(devicePixelRatioF());
    shownAt = ms;
    update();
    emit gotFrame(ms);
}

void VideoPreviewWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (!shown.isNull())
        painter.drawImage(rect(), shown);
}

} // namespace media
