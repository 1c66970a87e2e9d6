#include "framegrab.h"

#include "libav.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <QDebug>

namespace videoexport {

QImage frameAt(const QString &path, double seconds)
{
    av::quietLogs();
    QString error;
    av::Input in = av::open(path, &error);
    if (!in) {
        qWarning().noquote() << "snapshot:" << error;
        return QImage();
    }
    const int vi = av_find_best_stream(in.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (vi < 0)
        return QImage();
    AVStream *s = in->streams[vi];
    av::Decoder owner = av::openDecoder(s, &error);
    if (!owner)
        return QImage();
    AVCodecContext *dec = owner.get();
    const qint64 start = s->start_time == AV_NOPTS_VALUE ? 0 : s->start_time;
    const qint64 want =
        start + av_rescale_q(qint64(seconds * 1e6), AVRational{1, 1000000}, s->time_base);
    av_seek_frame(in.get(), vi, want, AVSEEK_FLAG_BACKWARD);
    // Half a frame's leeway: the frame on screen at `seconds`.
    const qint64 half = s->avg_frame_rate.num > 0
                            ? av_rescale_q(1, av_inv_q(s->avg_frame_rate), s->time_base) / 2
                            : 0;

    av::Packet pkt(av_packet_alloc());
    AVFrame *frame = av_frame_alloc();
    std::unique_ptr<AVFrame, void (*)(AVFrame *)> frameOwner(frame,
                                                             [](AVFrame *f) { av_frame_free(&f); });
    QImage image;
    bool flushed = false;
    while (image.isNull()) {
        int r = avcodec_receive_frame(dec, frame);
        if (r == 0) {
            const bool last = flushed; // at the end, the last frame there is
            if (frame->best_effort_timestamp + half >= want || last) {
                SwsContext *sws = sws_getContext(
                    frame->width, frame->height, AVPixelFormat(frame->format), frame->width,
                    frame->height, AV_PIX_FMT_BGRA, SWS_BICUBIC, nullptr, nullptr, nullptr);
                if (!sws)
                    return QImage();
                image = QImage(frame->width, frame->height, QImage::Format_RGB32);
                uint8_t *dst[4] = {image.bits(), nullptr, nullptr, nullptr};
                int lines[4] = {int(image.bytesPerLine()), 0, 0, 0};
                sws_scale(sws, frame->data, frame->linesize, 0, frame->height, dst, lines);
                sws_freeContext(sws);
            }
            av_frame_unref(frame);
            continue;
        }
        if (r == AVERROR_EOF)
            break;
        if (flushed)
            break;
        bool sent = false;
        while (av_read_frame(in.get(), pkt.get()) >= 0) {
            if (pkt->stream_index == vi) {
                avcodec_send_packet(dec, pkt.get());
                av_packet_unref(pkt.get());
                sent = true;
                break;
            }
            av_packet_unref(pkt.get());
        }
        if (!sent) {
            avcodec_send_packet(dec, nullptr);
            flushed = true;
        }
    }
    return image;
}

} // namespace videoexport
