#include "muxer.h"

#include "cammpackets.h"
#include "cammtrackmark.h"
#include "stretch.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

namespace videoexport {

namespace {
constexpr AVRational micro{1, 1000000};
constexpr AVRational milli{1, 1000};
} // namespace

bool Muxer::open(const QString &path, const AVCodecParameters *video, AVRational videoTimeBase,
                 const AVStream *sound, bool withTrack, const QDateTime &created, QString *error)
{
    file = path;
    AVFormatContext *raw = nullptr;
    // The name too: moving the index to the front reopens the file.
    int r =
        avformat_alloc_output_context2(&raw, nullptr, "mp4", QFile::encodeName(path).constData());
    if (r < 0) {
        *error = QStringLiteral("cannot make an MP4: %1").arg(av::errorText(r));
        return false;
    }
    ctx.reset(raw);
    videoStream = avformat_new_stream(raw, nullptr);
    avcodec_parameters_copy(videoStream->codecpar, video);
    videoStream->codecpar->codec_tag = 0;
    videoStream->time_base = videoTimeBase;
    if (sound &&
        avformat_query_codec(raw->oformat, sound->codecpar->codec_id, FF_COMPLIANCE_NORMAL) == 1) {
        soundStream = avformat_new_stream(raw, nullptr);
        avcodec_parameters_copy(soundStream->codecpar, sound->codecpar);
        soundStream->codecpar->codec_tag = 0;
        soundStream->time_base = sound->time_base;
    } else if (sound) {
        qWarning().noquote() << "export: sound in" << avcodec_get_name(sound->codecpar->codec_id)
                             << "cannot be copied into an MP4 and is left out";
    }
    // No CAMM entry in libavformat: written as a plain metadata track and
    // renamed after the trailer (markCammTrack).
    if (withTrack) {
        trackStream = avformat_new_stream(raw, nullptr);
        trackStream->codecpar->codec_type = AVMEDIA_TYPE_DATA;
        trackStream->codecpar->codec_id = AV_CODEC_ID_BIN_DATA;
        trackStream->codecpar->codec_tag = MKTAG('g', 'p', 'm', 'd');
        trackStream->time_base = milli;
    }
    if (created.isValid())
        av_dict_set(&raw->metadata, "creation_time",
                    created.toUTC().toString(Qt::ISODateWithMs).toUtf8().constData(), 0);
    r = avio_open(&raw->pb, QFile::encodeName(path).constData(), AVIO_FLAG_WRITE);
    if (r < 0) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, av::errorText(r));
        return false;
    }
    AVDictionary *opts = nullptr;
    av_dict_set(&opts, "movflags", "+faststart", 0); // plays while it downloads
    r = avformat_write_header(raw, &opts);
    av_dict_free(&opts);
    if (r < 0) {
        *error = QStringLiteral("cannot begin the MP4: %1").arg(av::errorText(r));
        return false;
    }
    return true;
}

void Muxer::queueTrack(const Piece &piece, qint64 startUs, qint64 atUs)
{
    if (!trackStream)
        return;
    const qint64 toUs = qint64(piece.to * 1e6);
    const QVector<trip::Point> &points = piece.clip.points;
    for (int k = 0; k < points.size(); ++k) {
        const trip::Point &p = points[k];
        const qint64 pointUs = qint64(p.second) * 1000000;
        // A fix stands for its whole second: kept while any of it is shown.
        if (pointUs + 1000000 <= startUs || pointUs >= toUs || !p.sample.valid)
            continue;
        const qint64 ms = (atUs + std::max<qint64>(0, pointUs - startUs)) / 1000;
        if (ms <= queuedUntilMs)
            continue;
        queuedUntilMs = ms;
        // Not past the piece's end: the track ends with the picture.
        const qint64 endMs = (atUs + toUs - startUs) / 1000;
        const qint64 durationMs = std::clamp<qint64>(endMs - ms, 1, 1000);
        const QDateTime utc =
            piece.clip.utc.isValid() ? piece.clip.utc.addSecs(p.second) : QDateTime();
        const VideoInfo *next = k + 1 < points.size() ? &points[k + 1].sample : nullptr;
        queue.push_back({ms, durationMs, cammPacket(p.sample, utc, next)});
    }
}

bool Muxer::write(AVPacket *pkt, int slot, QString *error)
{
    // Times must grow per stream; a clip's first sound packet may overlap
    // the last of the clip before by a fraction of a frame.
    qint64 &last = lastDts[slot];
    if (last != AV_NOPTS_VALUE && pkt->dts <= last) {
        if (slot == 1)
            return true; // a sound packet heard already
        pkt->dts = last + 1;
        if (pkt->pts < pkt->dts)
            pkt->pts = pkt->dts;
    }
    last = pkt->dts;
    const int r = av_interleaved_write_frame(ctx.get(), pkt);
    if (r < 0) {
        *error = QStringLiteral("cannot write %1: %2").arg(file, av::errorText(r));
        return false;
    }
    return true;
}

bool Muxer::flushTrack(qint64 untilMs, QString *error)
{
    while (!queue.empty() && queue.front().ms <= untilMs) {
        av::Packet pkt(av_packet_alloc());
        const TrackPacket &t = queue.front();
        if (av_new_packet(pkt.get(), t.data.size()) < 0) {
            *error = QStringLiteral("out of memory");
            return false;
        }
        memcpy(pkt->data, t.data.constData(), size_t(t.data.size()));
        pkt->stream_index = trackStream->index;
        pkt->pts = pkt->dts = av_rescale_q(t.ms, milli, trackStream->time_base);
        pkt->duration = av_rescale_q(t.durationMs, milli, trackStream->time_base);
        queue.pop_front();
        if (!write(pkt.get(), 2, error))
            return false;
        ++written;
    }
    return true;
}

bool Muxer::writeVideo(AVPacket *pkt, QString *error)
{
    pkt->stream_index = videoStream->index;
    pkt->pos = -1;
    const qint64 ms = av_rescale_q(pkt->pts, videoStream->time_base, milli);
    return flushTrack(ms, error) && write(pkt, 0, error);
}

bool Muxer::writeSound(AVPacket *pkt, QString *error)
{
    pkt->stream_index = soundStream->index;
    pkt->pos = -1;
    return write(pkt, 1, error);
}

bool Muxer::finish(QString *error)
{
    if (!flushTrack(std::numeric_limits<qint64>::max(), error))
        return false;
    const int r = av_write_trailer(ctx.get());
    if (r < 0) {
        *error = QStringLiteral("cannot finish %1: %2").arg(file, av::errorText(r));
        return false;
    }
    ctx.reset();
    return written == 0 || markCammTrack(file, error);
}

} // namespace videoexport
