#pragma once

// The FFmpeg libraries as the export uses them: owners that free what they
// hold, and libav's error codes as text. Only the export includes this.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}

#include <QString>
#include <memory>

namespace videoexport::av {

struct InputCloser
{
    void operator()(AVFormatContext *c) const { avformat_close_input(&c); }
};
using Input = std::unique_ptr<AVFormatContext, InputCloser>;

struct OutputCloser
{
    void operator()(AVFormatContext *c) const
    {
        if (c && c->pb && !(c->oformat->flags & AVFMT_NOFILE))
            avio_closep(&c->pb);
        avformat_free_context(c);
    }
};
using Output = std::unique_ptr<AVFormatContext, OutputCloser>;

struct PacketFree
{
    void operator()(AVPacket *p) const { av_packet_free(&p); }
};
using Packet = std::unique_ptr<AVPacket, PacketFree>;

struct DecoderFree
{
    void operator()(AVCodecContext *c) const { avcodec_free_context(&c); }
};
using Decoder = std::unique_ptr<AVCodecContext, DecoderFree>;

inline QString errorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

// The libraries' own messages: errors only, unless VELOMAR_DEBUG is set.
void quietLogs();

// A decoder for the stream, on as many threads as the machine has; null
// with `error` set.
Decoder openDecoder(const AVStream *stream, QString *error);

// Opens a file for reading with its streams probed; null with `error` set.
Input open(const QString &path, QString *error);

} // namespace videoexport::av
