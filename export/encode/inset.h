#pragma once

// Another camera of the moment in the exported picture: its clip decoded
// alongside the main one, the frame due at each main frame's time scaled to
// a quarter of the width and laid into the top right corner, as the player
// shows picture in picture. A camera that ends early keeps its last frame.

#include "piecereader.h"

#include <QString>

struct AVFrame;
struct SwsContext;

namespace videoexport {

class Inset
{
public:
    ~Inset();
    // The camera's file for this piece, the slot-th small picture from the
    // top; false (with the reason in the log) when it cannot be read, and
    // the export goes on without it.
    bool open(const Piece &piece, const QString &path, int slot, int frameWidth, int frameHeight);
    // Lays the frame due at `us` (microseconds into the clip) into `frame`.
    void apply(AVFrame *frame, qint64 us);

private:
    bool receive(); // the next decoded frame into `next`; false at the end
    void scaleNext();

    PieceReader in;
    av::Decoder decoder;
    SwsContext *scaler = nullptr;
    AVFrame *next = nullptr;  // decoded, not yet due
    AVFrame *small = nullptr; // scaled, laid in
    bool haveNext = false, haveSmall = false, drained = false, ended = false;
    qint64 nextUs = 0;
    qint64 halfFrameUs = 16666;
    int x = 0, y = 0;
};

} // namespace videoexport
