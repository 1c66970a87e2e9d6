#pragma once

#include "audioformat.h"

#include <QObject>

struct mpv_handle;

namespace media {

// The player's sound. Volume is a linear gain: 1.0 leaves the sound as it
// is, 4.0 is the most (the window's slider range).
class AudioOutput : public QObject
{
    Q_OBJECT
public:
    explicit AudioOutput(QObject *parent = nullptr) : QObject(parent) {}

    qreal volume() const;
    bool setVolume(qreal gain);

    // close() silences the output and releases the device; open() brings it
    // back with the current format.
    bool close();
    bool open();
    bool isOpen() const { return opened; }
    AudioFormat audioFormat() const { return format; }
    void setAudioFormat(const AudioFormat &f) { format = f; }

    // mpv's volume is cubic: volume = 100 * cbrt(gain).
    static double gainToMpvVolume(double gain);
    static double mpvVolumeToGain(double volume);

private:
    friend class AVPlayer;
    void attach(mpv_handle *core) { mpv = core; }

    mpv_handle *mpv = nullptr;
    AudioFormat format;
    bool opened = true;
    QString closedTrack; // the audio track to bring back on open()
    // The gain last set and the mpv volume it became: the cube root does not
    // round-trip exactly, and callers compare what they read with what they set.
    qreal lastGain = -1.0;
    double lastMpvVolume = -1.0;
};

} // namespace media
