#pragma once

// One piece's clip read as packets: its video stream and the sound that
// goes with it, from the key frame at or before the piece's start, each
// packet's times in microseconds from the stream's own start.

#include "libav.h"
#include "stretch.h"

#include <QString>

namespace videoexport {

class PieceReader
{
public:
    bool open(const Piece &piece, QString *error);
    AVStream *video() const { return videoStream; }
    AVStream *sound() const { return soundStream; }
    // The next packet of the video or its sound; false at the end of the
    // file. Packets without a time are skipped.
    bool next(AVPacket *pkt, bool *isVideo, qint64 *ptsUs, qint64 *dtsUs);
    QString name() const { return fileName; }

    // Says in the log that the clip ended at `reached` seconds, before the
    // piece's end: the rest of it is missing (a card pulled while recording).
    void warnCutShort(double reached, double to) const;

private:
    av::Input in;
    AVStream *videoStream = nullptr;
    AVStream *soundStream = nullptr;
    QString fileName;
};

} // namespace videoexport
