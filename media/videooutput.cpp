#include "videooutput.h"

#include <mpv/render_gl.h>

#include <QDebug>
#include <QExposeEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QScreen>
#include <QWindow>

namespace media {

class VideoWindow : public QWindow
{
public:
    explicit VideoWindow(VideoOutput *output) : output(output)
    {
        setSurfaceType(QSurface::OpenGLSurface);
    }

protected:
    void exposeEvent(QExposeEvent *) override
    {
        if (isExposed() && output)
            output->redraw();
    }
    void resizeEvent(QResizeEvent *) override
    {
        if (output)
            output->redraw();
    }
    void mousePressEvent(QMouseEvent *event) override
    {
        if (output && event->button() == Qt::LeftButton)
            emit output->pressed(event->pos(), size());
    }

private:
    QPointer<VideoOutput> output;
};

VideoOutput::VideoOutput(QObject *parent) : QObject(parent)
{
    window = new VideoWindow(this);
    window->setFormat(QSurfaceFormat::defaultFormat());
    window->create();
    context = new QOpenGLContext(this);
    context->setFormat(window->requestedFormat());
    if (!window->handle() || !context->create() || !context->makeCurrent(window)) {
        qWarning() << "media: no OpenGL context for video";
        delete context;
        context = nullptr;
        return;
    }
    context->doneCurrent();
    container = QWidget::createWindowContainer(window);
    container->setMinimumSize(16, 9);
}

VideoOutput::~VideoOutput()
{
    detach();
    if (container)
        delete container.data(); // takes the window with it
    else
        delete window.data();
}

QWidget *VideoOutput::widget() const
{
    return context ? container.data() : nullptr;
}

bool VideoOutput::attach(mpv_handle *mpv)
{
    if (!context || render || !context->makeCurrent(window))
        return false;
    mpv_opengl_init_params gl{[](void *, const char *name) -> void * {
                                  QOpenGLContext *c = QOpenGLContext::currentContext();
                                  return c ? reinterpret_cast<void *>(c->getProcAddress(name))
                                           : nullptr;
                              },
                              nullptr};
    mpv_render_param params[] = {
        {MPV_RENDER_PARAM_API_TYPE, const_cast<char *>(MPV_RENDER_API_TYPE_OPENGL)},
        {MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &gl},
        {MPV_RENDER_PARAM_INVALID, nullptr}};
    const int result = mpv_render_context_create(&render, mpv, params);
    context->doneCurrent();
    if (result < 0) {
        qWarning() << "media: no mpv render context:" << mpv_error_string(result);
        render = nullptr;
        return false;
    }
    mpv_render_context_set_update_callback(
        render,
        [](void *self) {
            auto *out = static_cast<VideoOutput *>(self);
            if (!out->renderQueued.exchange(true))
                QMetaObject::invokeMethod(out, "renderFrame", Qt::QueuedConnection);
        },
        this);
    return true;
}

void VideoOutput::detach()
{
    if (!render)
        return;
    // The window may be gone with its container; the context must be
    // current all the same while mpv frees its resources.
    QOffscreenSurface fallback;
    if (window) {
        context->makeCurrent(window);
    } else {
        fallback.setFormat(context->format());
        fallback.create();
        context->makeCurrent(&fallback);
    }
    mpv_render_context_free(render);
    render = nullptr;
    context->doneCurrent();
}

void VideoOutput::redraw()
{
    if (render && !renderQueued.exchange(true))
        QMetaObject::invokeMethod(this, "renderFrame", Qt::QueuedConnection);
}

void VideoOutput::renderFrame()
{
    renderQueued = false;
    if (!render || !window || !context->makeCurrent(window))
        return;
    mpv_render_context_update(render);
    const bool shown = window->isExposed();
    const QSize size = window->size() * window->devicePixelRatio();
    mpv_opengl_fbo target{int(context->defaultFramebufferObject()), size.width(), size.height(), 0};
    int flip = 1;             // the window's framebuffer has its origin at the bottom
    int skip = shown ? 0 : 1; // acknowledge the frame, draw nothing
    mpv_render_param params[] = {{MPV_RENDER_PARAM_OPENGL_FBO, &target},
                                 {MPV_RENDER_PARAM_FLIP_Y, &flip},
                                 {MPV_RENDER_PARAM_SKIP_RENDERING, &skip},
                                 {MPV_RENDER_PARAM_INVALID, nullptr}};
    mpv_render_context_render(render, params);
    if (shown) {
        context->swapBuffers(window);
        mpv_render_context_report_swap(render);
        ++frames;
    }
    context->doneCurrent();
}

QImage VideoOutput::grabShown() const
{
    QScreen *screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen();
    return screen->grabWindow(window->winId()).toImage();
}

} // namespace media
