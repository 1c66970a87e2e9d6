#pragma once

#include "averror.h"
#include "channelgraph.h"

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QSize>
#include <QString>
#include <deque>

struct mpv_handle;
struct mpv_event;
struct mpv_event_end_file;

namespace media {

class AudioOutput;
class VideoCapture;
class VideoOutput;

// Plays one file at a time on an mpv core. Signals come on the GUI thread:
// started() once the file is open with its duration known and its first
// frame up, positionChanged() several times a second while playing, and
// stopped() exactly once for every play(), whether the file ended, was
// stopped, was replaced or failed (then after error()). play() may be called
// from a stopped() handler.
class AVPlayer : public QObject
{
    Q_OBJECT
public:
    explicit AVPlayer(QObject *parent = nullptr);
    ~AVPlayer() override;

    void play(const QString &path);
    // A moment of several cameras: `path` is one of channels.files; all
    // play in one picture on one clock.
    void play(const QString &path, const ChannelSet &channels);
    // While playing: another channel large, another layout (no reload).
    void setMainChannel(int channel);
    void setChannelLayout(ChannelLayout layout);
    const ChannelSet &channels() const { return channelSet; }
    // The channel shown at `pos` of a video area of `area` pixels (the
    // picture kept to its shape in the middle of it); -1 for none.
    int channelAt(QPoint pos, QSize area) const;
    void pause(bool paused);
    bool isPaused() const;
    bool isPlaying() const; // playing and not paused
    void stop();
    void seek(qint64 ms); // exact
    qint64 position() const;
    qint64 duration() const;
    QString file() const;

    // Frames dropped so far by decoder and output, for the current file or
    // the last one played.
    qint64 droppedFrames() const { return decoderDrops + outputDrops; }

    void setRenderer(VideoOutput *output);
    AudioOutput *audio() const; // null without an audio track or an audio device
    VideoCapture *videoCapture() const;

signals:
    void positionChanged(qint64 ms);
    void started();
    void stopped();
    void error(const media::AVError &error);

private slots:
    void drainEvents();

private:
    void handle(const mpv_event *event);
    void commandDone(uint64_t command, int error);
    void fileStarted(qint64 entryId);
    void fileEnded(const mpv_event_end_file *end);

    // A play() not yet answered by stopped(). mpv runs commands in order, so
    // once a later command is done, a file asked for earlier that has not
    // started never will (it was replaced or stopped before it began): its
    // stopped() is given then.
    struct Request
    {
        uint64_t command;
        bool done = false;   // mpv has taken the loadfile
        qint64 entryId = -1; // its playlist entry, once started
    };
    std::deque<Request> requests;
    uint64_t lastCommand = 0;

    mpv_handle *mpv = nullptr;
    QPointer<VideoOutput> renderer;
    AudioOutput *audioOutput;
    VideoCapture *capture;

    void applyGraph();

    QString path;
    ChannelSet channelSet;
    int loadedChannel = 0;
    qint64 entry = -1;   // the playlist entry being played, -1 when none
    bool loaded = false; // the entry's file is open
    bool hasStarted = false;
    bool paused = false;
    qint64 positionMs = 0;
    qint64 durationMs = 0;
    qint64 decoderDrops = 0;
    qint64 outputDrops = 0;
};

} // namespace media
