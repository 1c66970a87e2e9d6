#pragma once

// The dashboard's panel laid into decoded YUV 4:2:0 frames, only over its
// own rectangle: converted to premultiplied Y, U, V and alpha once a paint,
// then blended into each frame with integer arithmetic.

#include <QImage>
#include <QPoint>
#include <QVector>

struct AVFrame;

namespace videoexport {

class PanelBlend
{
public:
    // `panel` premultiplied ARGB; `at` its top-left in the frame (made even).
    // `fullRange`: the frames use 0-255 (yuvj420p) rather than 16-235.
    void prepare(const QImage &panel, const QPoint &at, bool fullRange);
    // Into a writable yuv420p/yuvj420p frame; parts outside it are left out.
    void apply(AVFrame *frame) const;

private:
    int x = 0, y = 0, w = 0, h = 0;
    QVector<quint8> lumaP, lumaA;    // w × h
    QVector<quint8> uP, vP, chromaA; // w/2 × h/2
};

} // namespace videoexport
