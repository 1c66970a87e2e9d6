#include "inset.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <QDebug>
#include <QFileInfo>
#include <cstring>

namespace videoexport {

namespace {
constexpr AVRational micro{1, 1000000};
} // namespace

Inset::~Inset()
{
    sws_freeContext(scaler);
    av_frame_free(&next);
    av_frame_free(&small);
}

bool Inset::open(const Piece &piece, const QString &path, int slot, int frameWidth, int frameHeight)
{
    Piece own = piece;
    own.clip.path = path;
    QString error;
    if (!in.open(own, &error)) {
        qWarning().noquote() << "export: the camera" << QFileInfo(path).fileName()
                             << "is left out:" << error;
        return false;
    }
    const AVStream *s = in.video();
    decoder = av::openDecoder(s, &error);
    if (!decoder) {
        qWarning().noquote() << "export: the camera" << QFileInfo(path).fileName()
                             << "is left out:" << error;
        return false;
    }
    if (s->avg_frame_rate.num > 0)
        halfFrameUs = av_rescale_q(1, av_inv_q(s->avg_frame_rate), micro) / 2;
    // A quarter of the width, its own shape kept, on even lines.
    const int w = (frameWidth / 4) & ~1;
    const int h =
        std::max(2, int(qint64(w) * s->codecpar->height / std::max(1, s->codecpar->width)) & ~1);
    const int margin = (frameHeight / 40) & ~1;
    x = (frameWidth - w - margin) & ~1;
    y = margin + slot * (h + margin);
    small = av_frame_alloc();
    small->format = AV_PIX_FMT_YUV420P;
    small->width = w;
    small->height = h;
    next = av_frame_alloc();
    return av_frame_get_buffer(small, 0) >= 0;
}

bool Inset::receive()
{
    while (!ended) {
        const int r = avcodec_receive_frame(decoder.get(), next);
        if (r == 0) {
            const qint64 start =
                in.video()->start_time == AV_NOPTS_VALUE ? 0 : in.video()->start_time;
            nextUs =
                av_rescale_q(next->best_effort_timestamp - start, in.video()->time_base, micro);
            return true;
        }
        if (r == AVERROR_EOF) {
            ended = true;
            return false;
        }
        if (drained)
            return false;
        av::Packet pkt(av_packet_alloc());
        bool isVideo = false;
        qint64 pts, dts;
        bool got = false;
        while (in.next(pkt.get(), &isVideo, &pts, &dts)) {
            if (isVideo) {
                got = true;
                break;
            }
            av_packet_unref(pkt.get());
        }
        if (got) {
            avcodec_send_packet(decoder.get(), pkt.get());
        } else {
            avcodec_send_packet(decoder.get(), nullptr);
            drained = true;
        }
    }
    return false;
}

void Inset::scaleNext()
{
    scaler = sws_getCachedContext(scaler, next->width, next->height, AVPixelFormat(next->format),
                                  small->width, small->height, AV_PIX_FMT_YUV420P, SWS_BILINEAR,
                                  nullptr, nullptr, nullptr);
    if (!scaler)
        return;
    sws_scale(scaler, next->data, next->linesize, 0, next->height, small->data, small->linesize);
    haveSmall = true;
}

void Inset::apply(AVFrame *frame, qint64 us)
{
    if (!decoder)
        return;
    // The latest frame due by now.
    for (;;) {
        if (!haveNext && !(haveNext = receive()))
            break;
        if (nextUs > us + halfFrameUs)
            break;
        scaleNext();
        av_frame_unref(next);
        haveNext = false;
    }
    if (!haveSmall || x + small->width > frame->width || y + small->height > frame->height)
        return;
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane ? 1 : 0;
        const int w = small->width >> shift, h = small->height >> shift;
        for (int row = 0; row < h; ++row)
            std::memcpy(frame->data[plane] + ((y >> shift) + row) * frame->linesize[plane] +
                            (x >> shift),
                        small->data[plane] + row * small->linesize[plane], size_t(w));
    }
}

} // namespace videoexport
