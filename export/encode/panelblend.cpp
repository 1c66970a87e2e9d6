#include "panelblend.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <algorithm>

namespace videoexport {

namespace {

// x / 255, rounded, for x in 0 .. 255 × 255.
inline int div255(int x)
{
    return (x + 128 + ((x + 128) >> 8)) >> 8;
}

} // namespace

void PanelBlend::prepare(const QImage &panel, const QPoint &at, bool fullRange)
{
    x = at.x() & ~1;
    y = at.y() & ~1;
    w = panel.width() & ~1;
    h = panel.height() & ~1;
    lumaP.resize(w * h);
    lumaA.resize(w * h);
    uP.resize((w / 2) * (h / 2));
    vP.resize(uP.size());
    chromaA.resize(uP.size());
    // BT.601, the matrix of standard-definition and of most dash cams' files.
    const int ky[3] = {fullRange ? 77 : 66, fullRange ? 150 : 129, fullRange ? 29 : 25};
    const int yOffset = fullRange ? 0 : 16;
    const int ku[3] = {fullRange ? -43 : -38, fullRange ? -85 : -74, fullRange ? 128 : 112};
    const int kv[3] = {fullRange ? 128 : 112, fullRange ? -107 : -94, fullRange ? -21 : -18};
    for (int row = 0; row < h; ++row) {
        const auto *line = reinterpret_cast<const quint32 *>(panel.constScanLine(row));
        for (int col = 0; col < w; ++col) {
            const quint32 p = line[col];
            const int a = int(p >> 24), r = int(p >> 16 & 255), g = int(p >> 8 & 255),
                      b = int(p & 255);
            lumaA[row * w + col] = quint8(a);
            lumaP[row * w + col] = quint8(std::clamp(
                ((ky[0] * r + ky[1] * g + ky[2] * b + 128) >> 8) + div255(yOffset * a), 0, 255));
        }
    }
    for (int row = 0; row < h / 2; ++row) {
        const auto *l0 = reinterpret_cast<const quint32 *>(panel.constScanLine(2 * row));
        const auto *l1 = reinterpret_cast<const quint32 *>(panel.constScanLine(2 * row + 1));
        for (int col = 0; col < w / 2; ++col) {
            const quint32 q[4] = {l0[2 * col], l0[2 * col + 1], l1[2 * col], l1[2 * col + 1]};
            int a = 0, r = 0, g = 0, b = 0;
            for (quint32 p : q) {
                a += int(p >> 24);
                r += int(p >> 16 & 255);
                g += int(p >> 8 & 255);
                b += int(p & 255);
            }
            a = (a + 2) / 4, r = (r + 2) / 4, g = (g + 2) / 4, b = (b + 2) / 4;
            const int i = row * (w / 2) + col;
            chromaA[i] = quint8(a);
            uP[i] = quint8(std::clamp(
                ((ku[0] * r + ku[1] * g + ku[2] * b + 128) >> 8) + div255(128 * a), 0, 255));
            vP[i] = quint8(std::clamp(
                ((kv[0] * r + kv[1] * g + kv[2] * b + 128) >> 8) + div255(128 * a), 0, 255));
        }
    }
}

void PanelBlend::apply(AVFrame *frame) const
{
    const int cols = std::min(w, frame->width - x) & ~1;
    const int rows = std::min(h, frame->height - y) & ~1;
    if (cols <= 0 || rows <= 0 || x < 0 || y < 0)
        return;
    for (int row = 0; row < rows; ++row) {
        quint8 *dst = frame->data[0] + (y + row) * frame->linesize[0] + x;
        const quint8 *p = lumaP.constData() + row * w;
        const quint8 *a = lumaA.constData() + row * w;
        for (int col = 0; col < cols; ++col)
            if (a[col])
                dst[col] = quint8(std::min(255, p[col] + div255(dst[col] * (255 - a[col]))));
    }
    for (int row = 0; row < rows / 2; ++row) {
        quint8 *du = frame->data[1] + (y / 2 + row) * frame->linesize[1] + x / 2;
        quint8 *dv = frame->data[2] + (y / 2 + row) * frame->linesize[2] + x / 2;
        const int i = row * (w / 2);
        for (int col = 0; col < cols / 2; ++col) {
            const int a = chromaA[i + col];
            if (!a)
                continue;
            du[col] = quint8(std::min(255, uP[i + col] + div255(du[col] * (255 - a))));
            dv[col] = quint8(std::min(255, vP[i + col] + div255(dv[col] * (255 - a))));
        }
    }
}

} // namespace videoexport
