#pragma once

#include <QImage>
#include <QObject>
#include <QRectF>
#include <QString>
#include <functional>

struct mpv_handle;

namespace media {

// Snapshots of the current video frame at the video's own resolution.
// capture() emits imageCaptured() at once, then saved(path) once the file is
// written (off the GUI thread), or failed() when there is no frame or the
// file cannot be written.
class VideoCapture : public QObject
{
    Q_OBJECT
public:
    explicit VideoCapture(QObject *parent = nullptr);

    QString captureDir() const { return dir; }
    void setCaptureDir(const QString &d) { dir = d; }
    QString captureName() const { return name; }
    void setCaptureName(const QString &n) { name = n; }
    QString saveFormat() const { return format; } // "jpg" by default
    void setSaveFormat(const QString &f) { format = f; }
    int quality() const { return imageQuality; }
    void setQuality(int q) { imageQuality = q; }

    // The frame on screen now; null when there is none.
    QImage grab() const;
    // Where one camera of several is to be taken at its own resolution,
    // the window hands in how (the picture composes them all); empty: the
    // picture on screen, cropped to the main camera's part.
    using FrameSource = std::function<QImage()>;
    void setFrameSource(FrameSource source) { frameSource = std::move(source); }

public slots:
    void capture();

signals:
    void imageCaptured(const QImage &image);
    void saved(const QString &path);
    void failed();

private:
    friend class AVPlayer;
    void attach(mpv_handle *core) { mpv = core; }
    // The main camera's part of the picture, as fractions of it.
    void setMainArea(const QRectF &area) { mainArea = area; }
    QRectF mainArea{0, 0, 1, 1};
    FrameSource frameSource;

    mpv_handle *mpv = nullptr;
    QString dir;
    QString name;
    QString format = "jpg";
    int imageQuality = 90;
};

} // namespace media
