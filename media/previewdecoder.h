#pragma once

// The preview's decoding thread; internal to the media layer.

#include <QImage>
#include <QPointer>
#include <QSize>
#include <QString>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

struct mpv_handle;
struct mpv_render_context;

namespace media {

class VideoPreviewWidget;

class PreviewDecoder
{
public:
    explicit PreviewDecoder(VideoPreviewWidget *widget);
    ~PreviewDecoder();

    // Replaces any request not yet taken up.
    void request(const QString &file, qint64 ms, QSize size, quint64 serial);

private:
    struct Request
    {
        QString file;
        qint64 ms = 0;
        QSize size;
        quint64 serial = 0;
    };

    void run();
    bool start();
    bool load(const QString &file);
    bool seekTo(qint64 ms);
    // Reads mpv's events until `done` holds, the file ends, the decoder quits
    // or the time runs out; notes whether a new frame reached the renderer.
    bool pump(double seconds, const std::function<bool()> &done);
    QImage renderFrame(QSize size);
    bool superseded();

    QPointer<VideoPreviewWidget> widget;
    mpv_handle *mpv = nullptr;
    mpv_render_context *render = nullptr;
    QString loaded;

    std::mutex mutex;
    std::condition_variable wake;
    bool hasPending = false;
    bool quit = false;
    // What pump() has seen since the last reset.
    bool restarted = false;
    bool fileLoaded = false;
    bool newFrame = false;
    QImage latest; // the last frame drawn, at renderSize
    QSize renderSize{160, 90};
    Request pending;
    std::thread thread;
};

} // namespace media
