#include "videocapture.h"

#include "mpvnames.h"

#include <mpv/client.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QPointer>
#include <QStandardPaths>
#include <QtConcurrent/QtConcurrentRun>
#include <cstring>

namespace media {

namespace {

const mpv_node *find(const mpv_node_list *map, const char *key)
{
    for (int i = 0; i < map->num; ++i)
        if (std::strcmp(map->keys[i], key) == 0)
            return &map->values[i];
    return nullptr;
}

} // namespace

VideoCapture::VideoCapture(QObject *parent)
    : QObject(parent), dir(QStandardPaths::writableLocation(QStandardPaths::PicturesLocation))
{
}

QImage VideoCapture::grab() const
{
    if (!mpv)
        return QImage();
    const char *args[] = {mpv::cmdScreenshotRaw, "video", nullptr};
    mpv_node result;
    if (mpv_command_ret(mpv, args, &result) < 0)
        return QImage(); // no frame decoded yet
    QImage image;
    if (result.format == MPV_FORMAT_NODE_MAP) {
        const mpv_node *w = find(result.u.list, "w");
        const mpv_node *h = find(result.u.list, "h");
        const mpv_node *stride = find(result.u.list, "stride");
        const mpv_node *format = find(result.u.list, "format");
        const mpv_node *data = find(result.u.list, "data");
        if (w && h && stride && format && data && data->format == MPV_FORMAT_BYTE_ARRAY &&
            format->format == MPV_FORMAT_STRING && std::strcmp(format->u.string, "bgr0") == 0 &&
            w->u.int64 > 0 && h->u.int64 > 0 &&
            qint64(data->u.ba->size) >= stride->u.int64 * h->u.int64) {
            // bgr0 is Format_RGB32 in memory on little-endian machines.
            image = QImage(static_cast<const uchar *>(data->u.ba->data), int(w->u.int64),
                           int(h->u.int64), int(stride->u.int64), QImage::Format_RGB32)
                        .copy();
        }
    }
    mpv_free_node_contents(&result);
    return image;
}

void VideoCapture::capture()
{
    QImage image = frameSource ? frameSource() : grab();
    // Several cameras share the picture: the snapshot is the main one's,
    // where it stands clear of the others.
    if (!frameSource && !image.isNull() && mainArea != QRectF(0, 0, 1, 1))
        image =
            image.copy(QRectF(mainArea.left() * image.width(), mainArea.top() * image.height(),
                              mainArea.width() * image.width(), mainArea.height() * image.height())
                           .toRect());
    if (image.isNull()) {
        emit failed();
        return;
    }
    emit imageCaptured(image);

    const QString base =
        name.isEmpty() ? QDateTime::currentDateTime().toString("yyyyMMddhhmmsszzz") : name;
    const QString path = QDir(dir).filePath(base + '.' + format);
    const QByteArray fmt = format.toLatin1();
    const int q = imageQuality;
    QPointer<VideoCapture> self(this);
    // Encoding a 1080p JPEG takes tens of milliseconds: not on the GUI thread.
    QtConcurrent::run([self, image, path, fmt, q] {
        const bool ok = image.save(path, fmt.constData(), q);
        QMetaObject::invokeMethod(
            qApp,
            [self, ok, path] {
                if (!self)
                    return;
                if (ok)
                    emit self->saved(path);
                else
                    emit self->failed();
            },
            Qt::QueuedConnection);
    });
}

} // namespace media
