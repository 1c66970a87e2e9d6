#include "piecereader.h"

#include <QDebug>
#include <QFileInfo>

namespace videoexport {

namespace {
constexpr AVRational micro{1, 1000000};
} // namespace

bool PieceReader::open(const Piece &piece, QString *error)
{
    fileName = QFileInfo(piece.clip.path).fileName();
    in = av::open(piece.clip.path, error);
    if (!in)
        return false;
    const int vi = av_find_best_stream(in.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (vi < 0) {
        *error = QStringLiteral("%1 holds no video").arg(fileName);
        return false;
    }
    videoStream = in->streams[vi];
    const int ai = av_find_best_stream(in.get(), AVMEDIA_TYPE_AUDIO, -1, vi, nullptr, 0);
    soundStream = ai >= 0 ? in->streams[ai] : nullptr;
    for (unsigned i = 0; i < in->nb_streams; ++i)
        if (in->streams[i] != videoStream && in->streams[i] != soundStream)
            in->streams[i]->discard = AVDISCARD_ALL; // GPS and the like: not read
    if (piece.from > 0) {
        const qint64 start =
            videoStream->start_time == AV_NOPTS_VALUE ? 0 : videoStream->start_time;
        av_seek_frame(in.get(), vi,
                      start + av_rescale_q(qint64(piece.from * 1e6), micro, videoStream->time_base),
                      AVSEEK_FLAG_BACKWARD);
    }
    return true;
}

bool PieceReader::next(AVPacket *pkt, bool *isVideo, qint64 *ptsUs, qint64 *dtsUs)
{
    while (av_read_frame(in.get(), pkt) >= 0) {
        AVStream *s = in->streams[pkt->stream_index];
        if ((s != videoStream && s != soundStream) || pkt->dts == AV_NOPTS_VALUE) {
            av_packet_unref(pkt);
            continue;
        }
        const qint64 start = s->start_time == AV_NOPTS_VALUE ? 0 : s->start_time;
        *isVideo = s == videoStream;
        *ptsUs = av_rescale_q((pkt->pts == AV_NOPTS_VALUE ? pkt->dts : pkt->pts) - start,
                              s->time_base, micro);
        *dtsUs = av_rescale_q(pkt->dts - start, s->time_base, micro);
        return true;
    }
    return false;
}

void PieceReader::warnCutShort(double reached, double to) const
{
    qWarning().noquote() << QStringLiteral("export: %1 ends at %2 s, before %3 s: the rest of it "
                                           "is missing")
                                .arg(fileName)
                                .arg(reached, 0, 'f', 1)
                                .arg(to, 0, 'f', 1);
}

} // namespace videoexport
