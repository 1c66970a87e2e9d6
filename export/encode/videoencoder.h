#pragma once

// H.264 by x264 through libavcodec, with the export's presets: "fast"
// (x264 ultrafast), "balanced" (veryfast) and "small" (medium), each at a
// constant quality.

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
    AVRational timeBase() const { return ctx->time_base; }
    // A frame (null: the end) in, each finished packet out to `take`.
    using Take = std::function<bool(AVPacket *)>;
    bool encode(AVFrame *frame, const Take &take, QString *error);

private:
    AVCodecContext *ctx = nullptr;
};

} // namespace videoexport
