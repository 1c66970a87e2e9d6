#include "videooutput.h"

#include <mpv/render_gl.h>

#include <QDebug>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QOpenGLTextureBlitter>
#include <QOpenGLWidget>

namespace media {

// Draws the output's texture, scaled to the widget.
class VideoWidget : public QOpenGLWidget
{
public:
    explicit VideoWidget(VideoOutput *output) : output(output) { setMinimumSize(16, 9); }
    ~VideoWidget() override
    {
        makeCurrent();
        blitter.destroy();
        doneCurrent();
    }

protected:
    void initializeGL() override { blitter.create(); }
    void resizeGL(int, int) override
    {
        if (output)
            output->redraw();
    }
    void paintGL() override
    {
        QOpenGLFunctions *gl = context()->functions();
        gl->glClearColor(0, 0, 0, 1);
        gl->glClear(GL_COLOR_BUFFER_BIT);
        const unsigned texture = output ? output->textureId() : 0;
        if (!texture || !blitter.isCreated())
            return;
        blitter.bind();
        const QRect target(QPoint(0, 0), size() * devicePixelRatioF());
        blitter.blit(texture, QOpenGLTextureBlitter::targetTransform(target, target),
                     QOpenGLTextureBlitter::OriginTopLeft);
        blitter.release();
    }
    void showEvent(QShowEvent *event) override
    {
        QOpenGLWidget::showEvent(event);
        if (output)
            output->redraw();
    }

private:
    QPointer<VideoOutput> output;
    QOpenGLTextureBlitter blitter;
};

VideoOutput::VideoOutput(QObject *parent) : QObject(parent)
{
    QOpenGLContext *share = QOpenGLContext::globalShareContext();
    if (!share) {
        qWarning() << "media: no shared OpenGL context; call "
                      "media::Widgets::registerRenderers() before creating the QApplication";
        return;
    }
    surface = new QOffscreenSurface;
    surface->setFormat(share->format());
    surface->create();
    context = new QOpenGLContext(this);
    context->setFormat(share->format());
    context->setShareContext(share);
    if (!surface->isValid() || !context->create()) {
        qWarning() << "media: no OpenGL context for video";
        delete context;
        context = nullptr;
        return;
    }
    view = new VideoWidget(this);
}

VideoOutput::~VideoOutput()
{
    detach();
    delete view;
    delete surface;
}

QWidget *VideoOutput::widget() const
{
    return view;
}

bool VideoOutput::attach(mpv_handle *mpv)
{
    if (!context || render)
        return false;
    if (!context->makeCurrent(surface))
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
    context->makeCurrent(surface);
    mpv_render_context_free(render);
    render = nullptr;
    delete fbo;
    fbo = nullptr;
    context->doneCurrent();
}

unsigned VideoOutput::textureId() const
{
    return fbo ? fbo->texture() : 0;
}

void VideoOutput::redraw()
{
    if (render && view && view->isVisible() && !renderQueued.exchange(true))
        QMetaObject::invokeMethod(this, "renderFrame", Qt::QueuedConnection);
}

void VideoOutput::renderFrame()
{
    renderQueued = false;
    if (!render || !context->makeCurrent(surface))
        return;
    mpv_render_context_update(render);

    const bool shown = view && view->isVisible();
    if (shown) {
        const QSize size = view->size() * view->devicePixelRatioF();
        if (!fbo || fbo->size() != size) {
            delete fbo;
            fbo = new QOpenGLFramebufferObject(size);
        }
        mpv_opengl_fbo target{int(fbo->handle()), size.width(), size.height(), 0};
        int flip = 0;
        mpv_render_param params[] = {{MPV_RENDER_PARAM_OPENGL_FBO, &target},
                                     {MPV_RENDER_PARAM_FLIP_Y, &flip},
                                     {MPV_RENDER_PARAM_INVALID, nullptr}};
        mpv_render_context_render(render, params);
        context->functions()->glFlush(); // the widget's context reads the texture next
        ++frames;
    } else {
        // Acknowledge the frame so playback keeps its pace; draw nothing.
        int skip = 1;
        mpv_opengl_fbo target{0, 1, 1, 0};
        mpv_render_param params[] = {{MPV_RENDER_PARAM_OPENGL_FBO, &target},
                                     {MPV_RENDER_PARAM_SKIP_RENDERING, &skip},
                                     {MPV_RENDER_PARAM_INVALID, nullptr}};
        mpv_render_context_render(render, params);
    }
    context->doneCurrent();
    if (shown)
        view->update();
}

} // namespace media
