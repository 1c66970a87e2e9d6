#include "streamcopy.h"

#include "muxer.h"
#include "piecereader.h"

#include <QDebug>

namespace videoexport {

namespace {
constexpr AVRational micro{1, 1000000};
} // namespace

bool hasFixes(const Stretch &stretch)
{
    for (const Piece &piece : stretch.pieces)
        for (const trip::Point &p : piece.clip.points)
            if (p.sample.valid)
                return true;
    return false;
}

bool StreamCopy::run(const Stretch &stretch, const QString &path, const ProgressFn &progress)
{
    av::quietLogs();
    message.clear();
    stopped = false;
    written = 0.0;
    packets = 0;
    starts.clear();
    if (stretch.pieces.isEmpty()) {
        message = QStringLiteral("nothing to export");
        return false;
    }

    Muxer out;
    bool opened = false;
    AVCodecID codec = AV_CODEC_ID_NONE; // the format every clip must share
    int width = 0, height = 0;
    qint64 outOffsetUs = 0; // where the next piece begins in the output
    const double total = stretch.seconds();
    double done = 0.0;

    for (const Piece &piece : stretch.pieces) {
        PieceReader in;
        if (!in.open(piece, &message))
            return false;
        const AVCodecParameters *v = in.video()->codecpar;
        if (!opened) {
            const trip::Clip &c = piece.clip;
            const QDateTime created =
                c.utc.isValid() ? c.utc.addMSecs(qint64(piece.from * 1000)) : QDateTime();
            if (!out.open(path, v, in.video()->time_base, in.sound(), hasFixes(stretch), created,
                          &message))
                return false;
            opened = true;
            codec = v->codec_id;
            width = v->width;
            height = v->height;
        } else if (v->codec_id != codec || v->width != width || v->height != height) {
            message = QStringLiteral("%1 is %2 %3x%4, the first clip %5 %6x%7: a copy needs one "
                                     "format throughout")
                          .arg(in.name(), avcodec_get_name(v->codec_id))
                          .arg(v->width)
                          .arg(v->height)
                          .arg(avcodec_get_name(codec))
                          .arg(width)
                          .arg(height);
            return false;
        }

        av::Packet pkt(av_packet_alloc());
        const qint64 toUs = qint64(piece.to * 1e6);
        qint64 shiftUs = 0, startUs = -1, endUs = outOffsetUs;
        bool isVideo = false, videoDone = false;
        qint64 ptsUs = 0, dtsUs = 0;
        while (in.next(pkt.get(), &isVideo, &ptsUs, &dtsUs)) {
            if (isVideo && startUs < 0) {
                if (!(pkt->flags & AV_PKT_FLAG_KEY)) { // the seek fell short of a key frame
                    av_packet_unref(pkt.get());
                    continue;
                }
                startUs = ptsUs;
                shiftUs = outOffsetUs - dtsUs;
                starts.append(ptsUs / 1e6);
                out.queueTrack(piece, startUs, outOffsetUs);
            }
            const bool keep = startUs >= 0 && ptsUs >= startUs - 1000 && ptsUs < toUs &&
                              (isVideo || out.hasSound());
            if (isVideo && startUs >= 0 && dtsUs >= toUs) {
                videoDone = true;
                break;
            }
            if (!keep) {
                av_packet_unref(pkt.get());
                continue;
            }
            AVStream *is = isVideo ? in.video() : in.sound();
            const AVRational tb = isVideo ? out.videoTimeBase() : out.soundTimeBase();
            const qint64 outPtsUs = ptsUs + shiftUs;
            pkt->pts = av_rescale_q(outPtsUs, micro, tb);
            pkt->dts = av_rescale_q(dtsUs + shiftUs, micro, tb);
            pkt->duration = av_rescale_q(pkt->duration, is->time_base, tb);
            if (isVideo)
                endUs = std::max(
                    endUs, outPtsUs + std::max<qint64>(av_rescale_q(pkt->duration, tb, micro), 0));
            const bool ok =
                isVideo ? out.writeVideo(pkt.get(), &message) : out.writeSound(pkt.get(), &message);
            av_packet_unref(pkt.get());
            if (!ok)
                return false;
            if (isVideo && progress && !progress(done + (ptsUs - startUs) / 1e6, total)) {
                stopped = true;
                message = QStringLiteral("cancelled");
                return false;
            }
        }
        if (startUs < 0) {
            message = QStringLiteral("%1 holds no key frame before %2 s")
                          .arg(in.name())
                          .arg(piece.to, 0, 'f', 1);
            return false;
        }
        const double reached = startUs / 1e6 + (endUs - outOffsetUs) / 1e6;
        if (!videoDone && reached < piece.to - 0.5)
            in.warnCutShort(reached, piece.to);
        done += piece.to - piece.from;
        outOffsetUs = endUs;
    }
    if (!out.finish(&message))
        return false;
    written = outOffsetUs / 1e6;
    packets = out.trackPackets();
    return true;
}

} // namespace videoexport
