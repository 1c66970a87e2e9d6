#include "videoencoder.h"

#include "videoexport.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <QThread>
#include <cstring>

namespace videoexport {

bool encoderPreset(const QString &name, EncoderPreset *out)
{
    if (name == QLatin1String("fast"))
        *out = {"ultrafast", 23};
    else if (name == QLatin1String("balanced"))
        *out = {"veryfast", 22};
    else if (name == QLatin1String("small"))
        *out = {"medium", 24};
    else
        return false;
    return true;
}

namespace {

// One black frame through the encoder: opening alone succeeds on machines
// whose driver then refuses to encode.
bool encodes(const AVCodec *codec)
{
    AVCodecContext *c = avcodec_alloc_context3(codec);
    c->width = 256;
    c->height = 144;
    c->pix_fmt = AV_PIX_FMT_YUV420P;
    c->time_base = AVRational{1, 30};
    c->framerate = AVRational{30, 1};
    bool ok = avcodec_open2(c, codec, nullptr) >= 0;
    AVFrame *f = av_frame_alloc();
    f->format = c->pix_fmt;
    f->width = c->width;
    f->height = c->height;
    ok = ok && av_frame_get_buffer(f, 0) >= 0;
    if (ok) {
        memset(f->data[0], 16, size_t(f->linesize[0]) * size_t(f->height));
        memset(f->data[1], 128, size_t(f->linesize[1]) * size_t(f->height / 2));
        memset(f->data[2], 128, size_t(f->linesize[2]) * size_t(f->height / 2));
        f->pts = 0;
        ok = avcodec_send_frame(c, f) >= 0 && avcodec_send_frame(c, nullptr) >= 0;
        AVPacket *p = av_packet_alloc();
        ok = ok && avcodec_receive_packet(c, p) >= 0 && p->size > 0;
        av_packet_free(&p);
    }
    av_frame_free(&f);
    avcodec_free_context(&c);
    return ok;
}

} // namespace

QString workingHardwareEncoder()
{
    static const QString found = [] {
        av::quietLogs();
        for (const char *name : {"h264_nvenc", "h264_amf"}) {
            const AVCodec *codec = avcodec_find_encoder_by_name(name);
            if (codec && encodes(codec))
                return QString::fromLatin1(name);
        }
        return QString();
    }();
    return found;
}

VideoEncoder::~VideoEncoder()
{
    avcodec_free_context(&ctx);
}

bool VideoEncoder::open(int width, int height, AVPixelFormat format, AVRational frameRate,
                        const QString &preset, QString *error)
{
    EncoderPreset p;
    if (!encoderPreset(preset, &p)) {
        *error = QStringLiteral("unknown preset %1").arg(preset);
        return false;
    }
    const QString hardware = workingHardwareEncoder();
    const AVCodec *codec =
        avcodec_find_encoder_by_name(hardware.isEmpty() ? "libx264" : qPrintable(hardware));
    if (!codec) {
        *error = QStringLiteral("this FFmpeg has no H.264 encoder (x264)");
        return false;
    }
    ctx = avcodec_alloc_context3(codec);
    ctx->width = width;
    ctx->height = height;
    ctx->pix_fmt = format;
    ctx->time_base = AVRational{1, 90000};
    ctx->framerate = frameRate;
    // A key frame every two seconds: seeks in the export stay quick.
    ctx->gop_size = frameRate.num > 0 && frameRate.den > 0
                        ? 2 * (frameRate.num + frameRate.den - 1) / frameRate.den
                        : 60;
    ctx->thread_count = QThread::idealThreadCount();
    ctx->flags |= AV_CODEC_FLAG_GLOBAL_HEADER; // MP4 keeps the parameter sets in its index
    if (hardware == QLatin1String("h264_nvenc")) {
        // p1 fastest .. p7 best; constant quality on its own scale.
        av_opt_set(ctx->priv_data, "preset",
                   preset == QLatin1String("fast")    ? "p1"
                   : preset == QLatin1String("small") ? "p6"
                                                      : "p4",
                   0);
        av_opt_set(ctx->priv_data, "rc", "vbr", 0);
        av_opt_set_int(ctx->priv_data, "cq", p.crf + 2, 0);
        ctx->pix_fmt = AV_PIX_FMT_YUV420P; // full range left to the stream's flags
    } else if (hardware == QLatin1String("h264_amf")) {
        av_opt_set(ctx->priv_data, "quality",
                   preset == QLatin1String("fast")    ? "speed"
                   : preset == QLatin1String("small") ? "quality"
                                                      : "balanced",
                   0);
        ctx->pix_fmt = AV_PIX_FMT_YUV420P;
    } else {
        av_opt_set(ctx->priv_data, "preset", p.x264, 0);
        av_opt_set_double(ctx->priv_data, "crf", p.crf, 0);
    }
    const int r = avcodec_open2(ctx, codec, nullptr);
    if (r < 0) {
        *error = QStringLiteral("cannot start the H.264 encoder: %1").arg(av::errorText(r));
        return false;
    }
    return true;
}

bool VideoEncoder::encode(AVFrame *frame, const Take &take, QString *error)
{
    int r = avcodec_send_frame(ctx, frame);
    if (r < 0 && r != AVERROR_EOF) {
        *error = QStringLiteral("the encoder refused a frame: %1").arg(av::errorText(r));
        return false;
    }
    av::Packet pkt(av_packet_alloc());
    while ((r = avcodec_receive_packet(ctx, pkt.get())) >= 0) {
        const bool ok = take(pkt.get());
        av_packet_unref(pkt.get());
        if (!ok)
            return false;
    }
    if (r != AVERROR(EAGAIN) && r != AVERROR_EOF) {
        *error = QStringLiteral("the encoder failed: %1").arg(av::errorText(r));
        return false;
    }
    return true;
}

} // namespace videoexport
