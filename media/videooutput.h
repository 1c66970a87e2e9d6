#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <atomic>

struct mpv_handle;
struct mpv_render_context;
class QOpenGLContext;
class QOffscreenSurface;
class QOpenGLFramebufferObject;

namespace media {

class VideoWidget;

// Shows a player's video. mpv renders each frame into a texture of a private
// OpenGL context, shared with the widget's, which draws it. So frames keep
// flowing (and playback keeps its pace) while the widget is hidden, say on
// a page of a stacked layout that is not shown yet; hidden, nothing is drawn.
class VideoOutput : public QObject
{
    Q_OBJECT
public:
    explicit VideoOutput(QObject *parent = nullptr);
    ~VideoOutput() override;

    // Null when no OpenGL context can be had.
    QWidget *widget() const;

    // Frames drawn into the texture since creation.
    int renderedFrames() const { return frames; }

private slots:
    void renderFrame();

private:
    friend class AVPlayer;
    friend class VideoWidget;
    bool attach(mpv_handle *mpv);
    void detach();
    unsigned textureId() const;
    void redraw(); // the current frame again, as after a resize

    QOpenGLContext *context = nullptr;
    QOffscreenSurface *surface = nullptr;
    QOpenGLFramebufferObject *fbo = nullptr;
    mpv_render_context *render = nullptr;
    QPointer<VideoWidget> view;
    std::atomic<bool> renderQueued{false};
    int frames = 0;
};

} // namespace media
