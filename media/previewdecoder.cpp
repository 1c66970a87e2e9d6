#include "previewdecoder.h"

#include "mpvcore.h"
#include "mpvnames.h"
#include "videopreviewwidget.h"

#include <mpv/render.h>

#include <QDebug>
#include <chrono>

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
    mpv_render_context_set_update_callback(
        render,
        [](void *self) {
            auto *d = static_cast<PreviewDecoder *>(self);
            {
                std::lock_guard<std::mutex> lock(d->mutex);
                d->frameReady = true;
            }
            d->wake.notify_all();
            if (d->mpv)
                mpv_wakeup(d->mpv);
        },
        this);
    std::lock_guard<std::mutex> lock(mutex);
    mpv = core;
    return true;
}

// Waits for an event of the given kind; false on a newer request, an error
// or the time limit.
bool PreviewDecoder::waitFor(int eventId, double seconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
        const mpv_event *e = mpv_wait_event(mpv, 0.25);
        if (e->event_id == eventId)
            return true;
        if (e->event_id == MPV_EVENT_END_FILE) {
            loaded.clear();
            return false;
        }
        if (superseded())
            return false;
    }
    return false;
}

bool PreviewDecoder::load(const QString &file)
{
    if (file == loaded)
        return true;
    loaded.clear();
    core::command(mpv, {mpv::cmdLoadFile, file.toUtf8(), "replace"});
    if (!waitFor(MPV_EVENT_FILE_LOADED, 10.0))
        return false;
    loaded = file;
    return true;
}

bool PreviewDecoder::seekTo(qint64 ms)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        frameReady = false;
    }
    core::command(
        mpv, {mpv::cmdSeek, QByteArray::number(double(ms) / 1000.0, 'f', 3), "absolute+exact"});
    if (!waitFor(MPV_EVENT_PLAYBACK_RESTART, 10.0))
        return false;
    // The restart may come just before the frame reaches the renderer.
    std::unique_lock<std::mutex> lock(mutex);
    wake.wait_for(lock, std::chrono::seconds(2),
                  [this] { return frameReady || hasPending || quit; });
    return frameReady;
}

QImage PreviewDecoder::renderFrame(QSize size)
{
    mpv_render_context_update(render);
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
        QString why;
        QImage image;
        if (!load(job.file))
            why = "cannot open " + job.file;
        else if (!seekTo(job.ms))
            why = "no frame at " + QString::number(job.ms) + " ms";
        else
            image = renderFrame(job.size);
        if (superseded())
            continue; // a newer request wins; this one is dropped
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
