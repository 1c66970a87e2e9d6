#include "previewdecoder.h"

#include "mpvcore.h"
#include "mpvnames.h"
#include "videopreviewwidget.h"

#include <mpv/render.h>

#include <QDebug>
#include <chrono>
#include <functional>

namespace media {

PreviewDecoder::PreviewDecoder(VideoPreviewWidget *w) : widget(w)
{
    thread = std::thread([this] { run(); });
}

PreviewDecoder::~PreviewDecoder()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        quit = true;
        if (mpv)
            mpv_wakeup(mpv);
    }
    wake.notify_all();
    thread.join();
}

void PreviewDecoder::request(const QString &file, qint64 ms, QSize size, quint64 serial)
{
    std::lock_guard<std::mutex> lock(mutex);
    pending = Request{file, ms, size, serial};
    hasPending = true;
    if (mpv)
        mpv_wakeup(mpv); // cut short a seek that is no longer wanted
    wake.notify_all();
}

bool PreviewDecoder::superseded()
{
    std::lock_guard<std::mutex> lock(mutex);
    return hasPending || quit;
}

bool PreviewDecoder::start()
{
    mpv_handle *core = core::create("libmpv");
    if (!core)
        return false;
    mpv_set_property_string(core, mpv::optPause, "yes");
    mpv_set_property_string(core, mpv::optAid, "no");
    mpv_set_property_string(core, mpv::optHrSeek, "yes");
    mpv_set_property_string(core, mpv::optKeepOpen, "yes"); // a seek to the end keeps the file

    mpv_render_param params[] = {
        {MPV_RENDER_PARAM_API_TYPE, const_cast<char *>(MPV_RENDER_API_TYPE_SW)},
        {MPV_RENDER_PARAM_INVALID, nullptr}};
    if (mpv_render_context_create(&render, core, params) < 0) {
        mpv_terminate_destroy(core);
        return false;
    }
    // Called from mpv's threads: only wake the decoder, which asks the
    // render context itself what changed.
    mpv_render_context_set_update_callback(
        render, [](void *core) { mpv_wakeup(static_cast<mpv_handle *>(core)); }, core);
    std::lock_guard<std::mutex> lock(mutex);
    mpv = core;
    return true;
}

bool PreviewDecoder::pump(double seconds, const std::function<bool()> &done)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (quit)
                return false;
        }
        const mpv_event *e = mpv_wait_event(mpv, 0.05);
        switch (e->event_id) {
        case MPV_EVENT_FILE_LOADED:
            fileLoaded = true;
            break;
        case MPV_EVENT_PLAYBACK_RESTART:
            restarted = true;
            break;
        case MPV_EVENT_END_FILE:
            loaded.clear();
            return false;
        default:
            break;
        }
        // Render a frame as soon as it is there: mpv's output waits for it
        // to be drawn (up to 200 ms) before playback counts as restarted.
        if (mpv_render_context_update(render) & MPV_RENDER_UPDATE_FRAME) {
            latest = renderFrame(renderSize);
            newFrame = true;
        }
    }
    return true;
}

bool PreviewDecoder::load(const QString &file)
{
    if (file == loaded)
        return true;
    loaded.clear();
    fileLoaded = restarted = newFrame = false;
    core::command(mpv, {mpv::cmdLoadFile, file.toUtf8(), "replace"});
    // Paused, the file still shows its first frame; take it up here so that
    // the next frame to come is the one a seek asks for.
    if (!pump(10.0, [this] { return fileLoaded && restarted && newFrame; }))
        return false;
    loaded = file;
    return true;
}

bool PreviewDecoder::seekTo(qint64 ms)
{
    restarted = newFrame = false;
    core::command(
        mpv, {mpv::cmdSeek, QByteArray::number(double(ms) / 1000.0, 'f', 3), "absolute+exact"});
    if (!pump(10.0, [this] { return restarted; }))
        return false;
    // The frame reaches the renderer just after the restart, if it changed.
    pump(1.0, [this] { return newFrame; });
    return true;
}

QImage PreviewDecoder::renderFrame(QSize size)
{
    QImage image(size, QImage::Format_RGBX8888);
    int sizes[2] = {size.width(), size.height()};
    size_t stride = size_t(image.bytesPerLine());
    mpv_render_param params[] = {{MPV_RENDER_PARAM_SW_SIZE, sizes},
                                 {MPV_RENDER_PARAM_SW_FORMAT, const_cast<char *>("rgb0")},
                                 {MPV_RENDER_PARAM_SW_STRIDE, &stride},
                                 {MPV_RENDER_PARAM_SW_POINTER, image.bits()},
                                 {MPV_RENDER_PARAM_INVALID, nullptr}};
    if (mpv_render_context_render(render, params) < 0)
        return QImage();
    return image;
}

void PreviewDecoder::run()
{
    if (!start()) {
        qWarning() << "media: the preview has no mpv core";
        return;
    }
    for (;;) {
        Request job;
        {
            std::unique_lock<std::mutex> lock(mutex);
            wake.wait(lock, [this] { return hasPending || quit; });
            if (quit)
                break;
            job = pending;
            hasPending = false;
        }
        if (job.file.isEmpty() || job.size.isEmpty())
            continue;
        renderSize = job.size;
        QString why;
        QImage image;
        if (!load(job.file))
            why = "cannot open " + job.file;
        else if (!seekTo(job.ms))
            why = "no frame at " + QString::number(job.ms) + " ms";
        else
            image = newFrame ? latest : renderFrame(job.size); // unchanged frame: draw it again
        // Each seek is seen through, so no stray frame is left for the next;
        // only its result is dropped when a newer request has come.
        if (superseded())
            continue;
        QMetaObject::invokeMethod(
            widget.data(),
            [w = widget, image, ms = job.ms, serial = job.serial, why] {
                if (!w)
                    return;
                if (image.isNull())
                    emit w->failed(why);
                else
                    w->deliver(image, ms, serial);
            },
            Qt::QueuedConnection);
    }
    mpv_render_context_free(render);
    mpv_terminate_destroy(mpv);
}

} // namespace media
