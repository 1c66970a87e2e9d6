#include "overlayexport.h"

#include "inset.h"
#include "muxer.h"
#include "panelblend.h"
#include "piecereader.h"
#include "videoencoder.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <QDebug>
#include <QElapsedTimer>
#include <QHash>
#include <cmath>

namespace videoexport {

namespace {

constexpr AVRational micro{1, 1000000};

struct FrameFree
{
    void operator()(AVFrame *f) const { av_frame_free(&f); }
};
using Frame = std::unique_ptr<AVFrame, FrameFree>;

struct ScalerFree
{
    void operator()(SwsContext *s) const { sws_freeContext(s); }
};
using Scaler = std::unique_ptr<SwsContext, ScalerFree>;

bool isPlanar420(int format)
{
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P;
}

} // namespace

bool OverlayExport::run(const Stretch &stretch, const QString &path,
                        const OverlaySettings &settings, const ProgressFn &progress)
{
    av::quietLogs();
    message.clear();
    stopped = false;
    written = 0.0;
    frameCount = 0;
    packets = 0;
    overlayTime = 0.0;
    paints.clear();
    if (stretch.pieces.isEmpty()) {
        message = QStringLiteral("nothing to export");
        return false;
    }

    // The route of the whole stretch and its top speed, for the panel.
    QVector<QPointF> route;
    double top = 0.0;
    for (const Piece &p : stretch.pieces)
        for (const trip::Point &pt : p.clip.points)
            if (shown(pt, p.from, p.to)) {
                route.append(QPointF(pt.sample.signedLongitude(), pt.sample.signedLatitude()));
                top = std::max(top, pt.sample.speed);
            }

    Muxer out;
    VideoEncoder encoder;
    std::unique_ptr<dashboard::Panel> panel;
    PanelBlend blend;
    bool opened = false;
    int width = 0, height = 0;
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    qint64 outOffsetUs = 0;
    const double total = stretch.seconds();
    double done = 0.0;
    QElapsedTimer overlayClock;

    qint64 frameUs = 33333; // of the piece being encoded
    auto takePacket = [&](AVPacket *pkt) {
        // x264 leaves durations out; without one the MP4's edit list would
        // end before the last frame.
        if (pkt->duration <= 0)
            pkt->duration = av_rescale_q(frameUs, micro, encoder.timeBase());
        av_packet_rescale_ts(pkt, encoder.timeBase(), out.videoTimeBase());
        return out.writeVideo(pkt, &message);
    };

    for (int pi = 0; pi < stretch.pieces.size(); ++pi) {
        const Piece &piece = stretch.pieces[pi];
        PieceReader in;
        if (!in.open(piece, &message))
            return false;
        av::Decoder decoder = av::openDecoder(in.video(), &message);
        if (!decoder)
            return false;
        const int w = in.video()->codecpar->width, h = in.video()->codecpar->height;
        if (!opened) {
            width = w & ~1;
            height = h & ~1;
            const int f = in.video()->codecpar->format;
            format = f == AV_PIX_FMT_YUVJ420P ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
            AVRational rate = in.video()->avg_frame_rate;
            if (rate.num <= 0 || rate.den <= 0)
                rate = AVRational{30, 1};
            if (!encoder.open(width, height, format, rate, settings.preset, &message))
                return false;
            encoderUsed = encoder.name();
            AVCodecParameters *params = avcodec_parameters_alloc();
            avcodec_parameters_from_context(params, encoder.context());
            const trip::Clip &c = piece.clip;
            const QDateTime created =
                c.utc.isValid() ? c.utc.addMSecs(qint64(piece.from * 1000)) : QDateTime();
            const bool ok = out.open(path, params, encoder.timeBase(), in.sound(),
                                     hasFixes(stretch), created, &message);
            avcodec_parameters_free(&params);
            if (!ok)
                return false;
            panel = std::make_unique<dashboard::Panel>(QSize(width, height), settings.panel, route,
                                                       top);
            opened = true;
        }
        // A clip of another size or pixel layout is brought to the first's.
        Scaler scaler;
        Frame converted;

        // The moment's other cameras as picture in picture.
        std::vector<std::unique_ptr<Inset>> insets;
        for (const trip::Channel &ch : piece.clip.channels) {
            if (ch.path.isEmpty() || ch.path == piece.clip.path || insets.size() >= 3)
                continue;
            auto inset = std::make_unique<Inset>();
            if (inset->open(piece, ch.path, int(insets.size()), width, height))
                insets.push_back(std::move(inset));
        }

        QHash<int, const VideoInfo *> bySecond;
        for (const trip::Point &pt : piece.clip.points)
            bySecond.insert(pt.second, &pt.sample);

        const qint64 fromUs = qint64(piece.from * 1e6), toUs = qint64(piece.to * 1e6);
        frameUs = in.video()->avg_frame_rate.num > 0
                      ? av_rescale_q(1, av_inv_q(in.video()->avg_frame_rate), micro)
                      : 33333;
        out.queueTrack(piece, fromUs, outOffsetUs);
        qint64 endUs = outOffsetUs;
        int shownSecond = -1;
        bool pieceDone = false;

        Frame frame(av_frame_alloc());
        auto drain = [&]() {
            int r;
            while (!pieceDone && (r = avcodec_receive_frame(decoder.get(), frame.get())) >= 0) {
                const qint64 start =
                    in.video()->start_time == AV_NOPTS_VALUE ? 0 : in.video()->start_time;
                const qint64 tUs = av_rescale_q(frame->best_effort_timestamp - start,
                                                in.video()->time_base, micro);
                if (tUs < fromUs - frameUs / 2) {
                    av_frame_unref(frame.get());
                    continue;
                }
                if (tUs >= toUs - frameUs / 2) {
                    pieceDone = true;
                    av_frame_unref(frame.get());
                    break;
                }
                AVFrame *picture = frame.get();
                if (!isPlanar420(frame->format) || frame->width != width ||
                    frame->height != height) {
                    if (!scaler) {
                        scaler.reset(sws_getContext(
                            frame->width, frame->height, AVPixelFormat(frame->format), width,
                            height, format, SWS_BILINEAR, nullptr, nullptr, nullptr));
                        converted.reset(av_frame_alloc());
                        converted->format = format;
                        converted->width = width;
                        converted->height = height;
                        if (!scaler || av_frame_get_buffer(converted.get(), 0) < 0) {
                            message =
                                QStringLiteral("cannot convert the frames of %1").arg(in.name());
                            return false;
                        }
                    }
                    av_frame_make_writable(converted.get());
                    sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height,
                              converted->data, converted->linesize);
                    picture = converted.get();
                } else if (av_frame_make_writable(frame.get()) < 0) {
                    message = QStringLiteral("out of memory");
                    return false;
                }

                for (const auto &inset : insets)
                    inset->apply(picture, tUs);

                overlayClock.start();
                const int second = int(tUs / 1000000);
                if (second != shownSecond) {
                    shownSecond = second;
                    dashboard::Reading reading;
                    if (piece.clip.start.isValid())
                        reading.shown = piece.clip.start.addSecs(second);
                    if (const VideoInfo *s = bySecond.value(second)) {
                        reading.fix = s->valid;
                        reading.speedKmh = s->speed;
                        reading.latitude = s->signedLatitude();
                        reading.longitude = s->signedLongitude();
                    }
                    const QImage &image = panel->paint(reading);
                    blend.prepare(image, panel->rect().topLeft(), format == AV_PIX_FMT_YUVJ420P);
                    paints.append({frameCount, panel->texts()});
                }
                blend.apply(picture);
                overlayTime += overlayClock.nsecsElapsed() / 1e6;

                const qint64 outUs = outOffsetUs + (tUs - fromUs);
                picture->pts = av_rescale_q(outUs, micro, encoder.timeBase());
                picture->pict_type = AV_PICTURE_TYPE_NONE;
                endUs = std::max(endUs, outUs + frameUs);
                ++frameCount;
                const bool ok = encoder.encode(picture, takePacket, &message);
                if (picture == frame.get())
                    av_frame_unref(frame.get());
                if (!ok)
                    return false;
                if (progress && !progress(done + (tUs - fromUs) / 1e6, total)) {
                    stopped = true;
                    message = QStringLiteral("cancelled");
                    return false;
                }
            }
            return true;
        };

        av::Packet pkt(av_packet_alloc());
        bool isVideo = false;
        qint64 ptsUs = 0, dtsUs = 0;
        bool more = true;
        while (!pieceDone && (more = in.next(pkt.get(), &isVideo, &ptsUs, &dtsUs))) {
            if (isVideo) {
                const int r = avcodec_send_packet(decoder.get(), pkt.get());
                av_packet_unref(pkt.get());
                if (r < 0 && r != AVERROR(EAGAIN) && r != AVERROR_INVALIDDATA) {
                    message =
                        QStringLiteral("cannot decode %1: %2").arg(in.name(), av::errorText(r));
                    return false;
                }
                if (!drain())
                    return false;
                continue;
            }
            // Sound: copied, cut where the picture is.
            if (out.hasSound() && ptsUs >= fromUs && ptsUs < toUs) {
                const AVRational tb = out.soundTimeBase();
                const qint64 shift = outOffsetUs - fromUs;
                pkt->pts = av_rescale_q(ptsUs + shift, micro, tb);
                pkt->dts = av_rescale_q(dtsUs + shift, micro, tb);
                pkt->duration = av_rescale_q(pkt->duration, in.sound()->time_base, tb);
                if (!out.writeSound(pkt.get(), &message))
                    return false;
            }
            av_packet_unref(pkt.get());
        }
        if (!pieceDone) { // the end of the file: the decoder's last frames
            avcodec_send_packet(decoder.get(), nullptr);
            if (!drain())
                return false;
        }
        const double reached = (endUs - outOffsetUs + fromUs) / 1e6;
        if (!pieceDone && reached < piece.to - 0.5)
            in.warnCutShort(reached, piece.to);
        done += piece.to - piece.from;
        outOffsetUs = endUs;
    }
    if (!encoder.encode(nullptr, takePacket, &message) || !out.finish(&message))
        return false;
    written = outOffsetUs / 1e6;
    packets = out.trackPackets();
    return true;
}

} // namespace videoexport
