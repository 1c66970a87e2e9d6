#pragma once

// The MP4 an export writes: one video stream (copied or encoded), the main
// channel's sound copied where MP4 can hold it, and the track as a CAMM
// metadata track. Times are given in microseconds on the output's time
// line; they must grow per stream, and the muxer keeps them so.

#include "libav.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <deque>

namespace videoexport {

struct Piece;

class Muxer
{
public:
    // `video` describes the video stream (its parameters and time base);
    // `sound` may be null, or of a codec MP4 cannot hold (then left out,
    // said in the log). `created` is the stretch's start in UTC.
    bool open(const QString &path, const AVCodecParameters *video, AVRational videoTimeBase,
              const AVStream *sound, bool withTrack, const QDateTime &created, QString *error);
    bool hasSound() const { return soundStream != nullptr; }
    // The stream's time base once open() has written the header.
    AVRational videoTimeBase() const { return videoStream->time_base; }
    AVRational soundTimeBase() const { return soundStream->time_base; }

    // The piece's fixes from the second its video begins (startUs into
    // the clip), placed where that is in the output (atUs).
    void queueTrack(const Piece &piece, qint64 startUs, qint64 atUs);
    // A packet whose times are already in the output stream's time base;
    // track packets up to its time are written first.
    bool writeVideo(AVPacket *pkt, QString *error);
    bool writeSound(AVPacket *pkt, QString *error);
    // The rest of the track, the trailer, and the track's name.
    bool finish(QString *error);
    int trackPackets() const { return written; }

private:
    bool write(AVPacket *pkt, int slot, QString *error);
    bool flushTrack(qint64 untilMs, QString *error);

    struct TrackPacket
    {
        qint64 ms;
        qint64 durationMs;
        QByteArray data;
    };
    QString file;
    av::Output ctx;
    AVStream *videoStream = nullptr;
    AVStream *soundStream = nullptr;
    AVStream *trackStream = nullptr;
    qint64 lastDts[3] = {AV_NOPTS_VALUE, AV_NOPTS_VALUE, AV_NOPTS_VALUE};
    std::deque<TrackPacket> queue;
    qint64 queuedUntilMs = -1;
    int written = 0;
};

} // namespace videoexport
