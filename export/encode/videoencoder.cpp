#include "videoencoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <QThread>

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
    const AVCodec *codec = avcodec_find_encoder_by_name("libx264");
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
    av_opt_set(ctx->priv_data, "preset", p.x264, 0);
    av_opt_set_double(ctx->priv_data, "crf", p.crf, 0);
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
