#pragma once

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QWidget>
#include <atomic>

struct mpv_handle;
struct mpv_render_context;
class QOpenGLContext;

namespace media {

class VideoWindow;

// Shows a player's video. mpv draws each frame straight into a native
// OpenGL window of our own (embedded in the widget tree), the way its own
// player does: no extra copy, no composition by Qt. While the window is not
// exposed (a hidden page of a stacked layout, say) frames are acknowledged
// but not drawn, so playback keeps its pace.
class VideoOutput : public QObject
{
    Q_OBJECT
public:
    explicit VideoOutput(QObject *parent = nullptr);
    ~VideoOutput() override;

    // Null when no OpenGL context can be had.
    QWidget *widget() const;

    // Frames drawn on screen since creation.
    int renderedFrames() const { return frames; }
    // The picture on screen now, read back from the display.
    QImage grabShown() const;

signals:
    // A press on the picture, at `pos` of an area of `size` pixels.
    void pressed(QPoint pos, QSize size);

private slots:
    void renderFrame();

private:
    friend class AVPlayer;
    friend class VideoWindow;
    bool attach(mpv_handle *mpv);
    void detach();
    void redraw(); // the current frame again, as after a resize or exposure

    QPointer<VideoWindow> window; // owned by the container once embedded
    QOpenGLContext *context = nullptr;
    QPointer<QWidget> container;
    mpv_render_context *render = nullptr;
    std::atomic<bool> renderQueued{false};
    int frames = 0;
};

} // namespace media
