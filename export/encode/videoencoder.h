#pragma once

// H.264 through libavcodec: a hardware encoder that takes frames from
// memory where the machine has a working one (NVIDIA's NVENC, AMD's AMF,
// found once by a test encode), else x264. The export's presets: "fast"
// (x264 ultrafast), "balanced" (veryfast) and "small" (medium), each at a
// constant quality, and their nearest in the hardware encoder's terms.

#include "libav.h"

#include <QString>
#include <functional>

namespace videoexport {

struct EncoderPreset
{
    const char *x264;
    int crf;
};
// False for an unknown name.
bool encoderPreset(const QString &name, EncoderPreset *out);

class VideoEncoder
{
public:
    ~VideoEncoder();
    bool open(int width, int height, AVPixelFormat format, AVRational frameRate,
              const QString &preset, QString *error);
    const AVCodecContext *context() const { return ctx; }
    QString name() const { return ctx ? QString::fromLatin1(ctx->codec->name) : QString(); }
    AVRational timeBase() const { return ctx->time_base; }
    // A frame (null: the end) in, each finished packet out to `take`.
    using Take = std::function<bool(AVPacket *)>;
    bool encode(AVFrame *frame, const Take &take, QString *error);

private:
    AVCodecContext *ctx = nullptr;
};

} // namespace videoexport
