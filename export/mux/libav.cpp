#include "libav.h"

#include <QFile>
#include <QFileInfo>

namespace videoexport::av {

void quietLogs()
{
    av_log_set_level(qEnvironmentVariableIsEmpty("VELOMAR_DEBUG") ? AV_LOG_ERROR : AV_LOG_INFO);
}

Decoder openDecoder(const AVStream *s, QString *error)
{
    const AVCodec *codec = avcodec_find_decoder(s->codecpar->codec_id);
    if (!codec) {
        *error = QStringLiteral("no decoder for %1").arg(avcodec_get_name(s->codecpar->codec_id));
        return Decoder();
    }
    Decoder d(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(d.get(), s->codecpar);
    d->thread_count = 0;
    d->pkt_timebase = s->time_base;
    const int r = avcodec_open2(d.get(), codec, nullptr);
    if (r < 0) {
        *error = QStringLiteral("cannot decode %1: %2")
                     .arg(avcodec_get_name(s->codecpar->codec_id), errorText(r));
        return Decoder();
    }
    return d;
}

Input open(const QString &path, QString *error)
{
    AVFormatContext *raw = nullptr;
    int r = avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr);
    if (r < 0) {
        *error = QStringLiteral("cannot open %1: %2").arg(QFileInfo(path).fileName(), errorText(r));
        return Input();
    }
    Input in(raw);
    r = avformat_find_stream_info(raw, nullptr);
    if (r < 0) {
        *error = QStringLiteral("cannot read the streams of %1: %2")
                     .arg(QFileInfo(path).fileName(), errorText(r));
        return Input();
    }
    return in;
}

} // namespace videoexport::av
