#pragma once

// The stretch written without re-encoding: each clip's video and sound
// packets copied from the key frame at or before the stretch's start in it
// to its end there, one clip after another on one time line, with the track
// beside them as a CAMM metadata track (a packet a second).

#include "stretch.h"

#include <QString>
#include <functional>

namespace videoexport {

// Seconds written so far of the total; false cancels.
using ProgressFn = std::function<bool(double done, double total)>;

// Whether any clip of the stretch has a fix to carry.
bool hasFixes(const Stretch &stretch);

class StreamCopy
{
public:
    // Writes `path` (an MP4). False with a one-line reason on failure, or
    // when cancelled (then `cancelled()`); the caller removes the file.
    bool run(const Stretch &stretch, const QString &path, const ProgressFn &progress);
    QString error() const { return message; }
    bool cancelled() const { return stopped; }
    // What was written: the video's length and the track's packets.
    double seconds() const { return written; }
    int trackPackets() const { return packets; }
    // Where each piece's video begins in its clip (the key frame), seconds.
    const QVector<double> &pieceStarts() const { return starts; }

private:
    QString message;
    bool stopped = false;
    double written = 0.0;
    int packets = 0;
    QVector<double> starts;
};

} // namespace videoexport
