#include "streamcopy.h"

#include "cammpackets.h"
#include "cammtrackmark.h"
#include "libav.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <deque>

namespace videoexport {

namespace {

constexpr AVRational micro{1, 1000000};
constexpr AVRational milli{1, 1000};

struct TrackPacket
{
    qint64 ms; // on the output's time line
    QByteArray data;
};

// The output: its streams and the last time written to each, which must grow.
struct Out
{
    av::Output ctx;
    AVStream *video = nullptr;
    AVStream *sound = nullptr;
    AVStream *track = nullptr;
    qint64 lastDts[3] = {AV_NOPTS_VALUE, AV_NOPTS_VALUE, AV_NOPTS_VALUE};
};

QString name(const Piece &p)
{
    return QFileInfo(p.clip.path).fileName();
}

} // namespace

bool StreamCopy::run(const Stretch &stretch, const QString &path, const ProgressFn &progress)
{
    message.clear();
    stopped = false;
    written = 0.0;
    packets = 0;
    starts.clear();
    av::quietLogs();
    if (stretch.pieces.isEmpty()) {
        message = QStringLiteral("nothing to export");
        return false;
    }

    Out out;
    AVCodecID firstCodec = AV_CODEC_ID_NONE; // the format every clip must share
    int firstWidth = 0, firstHeight = 0;
    qint64 outOffsetUs = 0; // where the next piece begins in the output
    const double total = stretch.seconds();
    double done = 0.0;
    std::deque<TrackPacket> trackQueue;
    bool hasTrack = false;
    for (const Piece &piece : stretch.pieces)
        for (const trip::Point &p : piece.clip.points)
            hasTrack = hasTrack || p.sample.valid;

    auto write = [&](AVPacket *pkt, int slot) {
        // Times must grow per stream; a clip's first sound packet may
        // overlap the last of the one before by a fraction of a frame.
        qint64 &last = out.lastDts[slot];
        if (last != AV_NOPTS_VALUE && pkt->dts <= last) {
            if (slot == 1)
                return 0; // a sound packet heard already
            pkt->dts = last + 1;
            if (pkt->pts < pkt->dts)
                pkt->pts = pkt->dts;
        }
        last = pkt->dts;
        return av_interleaved_write_frame(out.ctx.get(), pkt);
    };
    auto flushTrack = [&](qint64 untilMs) {
        while (!trackQueue.empty() && trackQueue.front().ms <= untilMs) {
            av::Packet pkt(av_packet_alloc());
            const TrackPacket &t = trackQueue.front();
            if (av_new_packet(pkt.get(), t.data.size()) < 0)
                return false;
            memcpy(pkt->data, t.data.constData(), size_t(t.data.size()));
            pkt->stream_index = out.track->index;
            pkt->pts = pkt->dts = av_rescale_q(t.ms, milli, out.track->time_base);
            pkt->duration = av_rescale_q(1000, milli, out.track->time_base);
            trackQueue.pop_front();
            if (write(pkt.get(), 2) < 0)
                return false;
            ++packets;
        }
        return true;
    };

    for (const Piece &piece : stretch.pieces) {
        QString err;
        av::Input in = av::open(piece.clip.path, &err);
        if (!in) {
            message = err;
            return false;
        }
        const int vi = av_find_best_stream(in.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        if (vi < 0) {
            message = QStringLiteral("%1 holds no video").arg(name(piece));
            return false;
        }
        const int ai = av_find_best_stream(in.get(), AVMEDIA_TYPE_AUDIO, -1, vi, nullptr, 0);
        AVStream *ivs = in->streams[vi];
        AVStream *ias = ai >= 0 ? in->streams[ai] : nullptr;

        if (!out.ctx) {
            AVFormatContext *raw = nullptr;
            // The name too: moving the index to the front reopens the file.
            int r = avformat_alloc_output_context2(&raw, nullptr, "mp4",
                                                   QFile::encodeName(path).constData());
            if (r < 0) {
                message = QStringLiteral("cannot make an MP4: %1").arg(av::errorText(r));
                return false;
            }
            out.ctx.reset(raw);
            out.video = avformat_new_stream(raw, nullptr);
            avcodec_parameters_copy(out.video->codecpar, ivs->codecpar);
            out.video->codecpar->codec_tag = 0;
            out.video->time_base = ivs->time_base;
            firstCodec = ivs->codecpar->codec_id;
            firstWidth = ivs->codecpar->width;
            firstHeight = ivs->codecpar->height;
            if (ias && avformat_query_codec(raw->oformat, ias->codecpar->codec_id,
                                            FF_COMPLIANCE_NORMAL) == 1) {
                out.sound = avformat_new_stream(raw, nullptr);
                avcodec_parameters_copy(out.sound->codecpar, ias->codecpar);
                out.sound->codecpar->codec_tag = 0;
                out.sound->time_base = ias->time_base;
            } else if (ias) {
                qWarning().noquote() << "export: the sound of" << name(piece) << "("
                                     << avcodec_get_name(ias->codecpar->codec_id)
                                     << ") cannot be copied into an MP4 and is left out";
            }
            // No CAMM entry in libavformat: written as a plain metadata
            // track and renamed after the trailer (markCammTrack).
            if (hasTrack) {
                out.track = avformat_new_stream(raw, nullptr);
                out.track->codecpar->codec_type = AVMEDIA_TYPE_DATA;
                out.track->codecpar->codec_id = AV_CODEC_ID_BIN_DATA;
                out.track->codecpar->codec_tag = MKTAG('g', 'p', 'm', 'd');
                out.track->time_base = milli;
            }
            const trip::Clip &c = piece.clip;
            if (c.utc.isValid()) {
                const QDateTime begin = c.utc.addMSecs(qint64(piece.from * 1000));
                av_dict_set(&raw->metadata, "creation_time",
                            begin.toString(Qt::ISODateWithMs).toUtf8().constData(), 0);
            }
            r = avio_open(&raw->pb, QFile::encodeName(path).constData(), AVIO_FLAG_WRITE);
            if (r < 0) {
                message = QStringLiteral("cannot write %1: %2").arg(path, av::errorText(r));
                return false;
            }
            AVDictionary *opts = nullptr;
            av_dict_set(&opts, "movflags", "+faststart", 0);
            r = avformat_write_header(raw, &opts);
            av_dict_free(&opts);
            if (r < 0) {
                message = QStringLiteral("cannot begin the MP4: %1").arg(av::errorText(r));
                return false;
            }
        } else if (ivs->codecpar->codec_id != firstCodec || ivs->codecpar->width != firstWidth ||
                   ivs->codecpar->height != firstHeight) {
            message = QStringLiteral("%1 is %2 %3x%4, the first clip %5 %6x%7: a copy needs one "
                                     "format throughout")
                          .arg(name(piece), avcodec_get_name(ivs->codecpar->codec_id))
                          .arg(ivs->codecpar->width)
                          .arg(ivs->codecpar->height)
                          .arg(avcodec_get_name(firstCodec))
                          .arg(firstWidth)
                          .arg(firstHeight);
            return false;
        }

        // Times relative to the stream's own start, in microseconds.
        const qint64 vStart = ivs->start_time == AV_NOPTS_VALUE ? 0 : ivs->start_time;
        auto us = [](qint64 ts, qint64 start, AVRational tb) {
            return av_rescale_q(ts - start, tb, micro);
        };
        const qint64 fromUs = qint64(piece.from * 1e6), toUs = qint64(piece.to * 1e6);
        if (fromUs > 0)
            av_seek_frame(in.get(), vi, vStart + av_rescale_q(fromUs, micro, ivs->time_base),
                          AVSEEK_FLAG_BACKWARD);

        av::Packet pkt(av_packet_alloc());
        qint64 shiftUs = 0, startPtsUs = -1, endUs = outOffsetUs;
        bool videoDone = false;
        while (!videoDone && av_read_frame(in.get(), pkt.get()) >= 0) {
            const bool isVideo = pkt->stream_index == vi;
            const bool isSound = ias && out.sound && pkt->stream_index == ai;
            if ((!isVideo && !isSound) || pkt->dts == AV_NOPTS_VALUE) {
                av_packet_unref(pkt.get());
                continue;
            }
            AVStream *is = in->streams[pkt->stream_index];
            const qint64 start = is->start_time == AV_NOPTS_VALUE ? 0 : is->start_time;
            const qint64 ptsUs =
                us(pkt->pts == AV_NOPTS_VALUE ? pkt->dts : pkt->pts, start, is->time_base);
            const qint64 dtsUs = us(pkt->dts, start, is->time_base);
            if (isVideo && startPtsUs < 0) {
                if (!(pkt->flags & AV_PKT_FLAG_KEY)) { // the seek fell short of a key frame
                    av_packet_unref(pkt.get());
                    continue;
                }
                startPtsUs = ptsUs;
                shiftUs = outOffsetUs - dtsUs;
                starts.append(ptsUs / 1e6);
                // The track from the second this video begins.
                const int n = piece.clip.points.size();
                for (int k = 0; hasTrack && k < n; ++k) {
                    const trip::Point &p = piece.clip.points[k];
                    const qint64 atUs = qint64(p.second) * 1000000;
                    if (atUs + 1000000 <= startPtsUs || atUs >= toUs || !p.sample.valid)
                        continue;
                    const qint64 ms = (outOffsetUs + std::max<qint64>(0, atUs - startPtsUs)) / 1000;
                    if (!trackQueue.empty() && trackQueue.back().ms >= ms)
                        continue;
                    const QDateTime utc =
                        piece.clip.utc.isValid() ? piece.clip.utc.addSecs(p.second) : QDateTime();
                    const VideoInfo *next = k + 1 < n ? &piece.clip.points[k + 1].sample : nullptr;
                    trackQueue.push_back({ms, cammPacket(p.sample, utc, next)});
                }
            }
            if (startPtsUs < 0 || ptsUs < startPtsUs - 1000) { // sound before the key frame
                av_packet_unref(pkt.get());
                continue;
            }
            if (isVideo && dtsUs >= toUs) {
                videoDone = true;
                av_packet_unref(pkt.get());
                break;
            }
            if (ptsUs >= toUs) { // frames shown after the end
                av_packet_unref(pkt.get());
                continue;
            }
            AVStream *os = isVideo ? out.video : out.sound;
            const qint64 outPtsUs = ptsUs + shiftUs;
            pkt->pts = av_rescale_q(outPtsUs, micro, os->time_base);
            pkt->dts = av_rescale_q(dtsUs + shiftUs, micro, os->time_base);
            pkt->duration = av_rescale_q(pkt->duration, is->time_base, os->time_base);
            pkt->stream_index = os->index;
            pkt->pos = -1;
            if (isVideo) {
                const qint64 frameEnd =
                    outPtsUs +
                    std::max<qint64>(av_rescale_q(pkt->duration, os->time_base, micro), 0);
                endUs = std::max(endUs, frameEnd);
                if (!flushTrack(outPtsUs / 1000)) {
                    message = QStringLiteral("cannot write the track");
                    return false;
                }
            }
            const int r = write(pkt.get(), isVideo ? 0 : 1);
            av_packet_unref(pkt.get());
            if (r < 0) {
                message = QStringLiteral("cannot write %1: %2").arg(path, av::errorText(r));
                return false;
            }
            if (isVideo && progress && !progress(done + (ptsUs - startPtsUs) / 1e6, total)) {
                stopped = true;
                message = QStringLiteral("cancelled");
                return false;
            }
        }
        if (startPtsUs < 0) {
            message = QStringLiteral("%1 holds no key frame before %2 s")
                          .arg(name(piece))
                          .arg(piece.to, 0, 'f', 1);
            return false;
        }
        const double reached = starts.last() + (endUs - outOffsetUs) / 1e6;
        if (!videoDone && reached < piece.to - 0.5)
            qWarning().noquote() << QStringLiteral("export: %1 ends at %2 s, before %3 s: the "
                                                   "rest of it is missing")
                                        .arg(name(piece))
                                        .arg(reached, 0, 'f', 1)
                                        .arg(piece.to, 0, 'f', 1);
        done += piece.to - piece.from;
        outOffsetUs = endUs;
    }
    if (!flushTrack(outOffsetUs / 1000)) {
        message = QStringLiteral("cannot write the track");
        return false;
    }
    int r = av_write_trailer(out.ctx.get());
    if (r < 0) {
        message = QStringLiteral("cannot finish %1: %2").arg(path, av::errorText(r));
        return false;
    }
    out.ctx.reset();
    written = outOffsetUs / 1e6;
    if (packets > 0 && !markCammTrack(path, &message))
        return false;
    return true;
}

} // namespace videoexport
