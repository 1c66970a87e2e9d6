#include "videoexport.h"

#include "exporters.h"
#include "outputfile.h"
#include "videoencoder.h"

#include <QFileInfo>
#include <QSaveFile>
#include <sstream>

namespace videoexport {

namespace {

// The stretch's fixes, a GPX segment a clip, from where its video begins.
bool writeGpx(const Stretch &stretch, const QVector<double> &starts, const QString &path,
              QString *error)
{
    QVector<exporters::Segment> segments;
    for (int i = 0; i < stretch.pieces.size(); ++i) {
        const Piece &p = stretch.pieces[i];
        const double from = i < starts.size() ? starts[i] : p.from;
        exporters::Segment s;
        s.name = QFileInfo(p.clip.path).fileName();
        for (const trip::Point &pt : p.clip.points)
            if (shown(pt, from, p.to))
                s.points.append({pt.second, &pt.sample});
        segments.append(s);
    }
    std::ostringstream os;
    exporters::writeSegments(QStringLiteral("gpx"), QFileInfo(path).completeBaseName(), segments,
                             os);
    QSaveFile f(path);
    const std::string text = os.str();
    if (!f.open(QIODevice::WriteOnly) ||
        f.write(text.data(), qint64(text.size())) != qint64(text.size()) || !f.commit()) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, f.errorString());
        return false;
    }
    return true;
}

} // namespace

QString gpxPathFor(const QString &output)
{
    const QFileInfo info(output);
    return info.absolutePath() + QLatin1Char('/') + info.completeBaseName() +
           QStringLiteral(".gpx");
}

Result exportStretch(const Stretch &stretch, const Options &options, const ProgressFn &progress)
{
    Result result;
    EncoderPreset preset;
    if (!encoderPreset(options.preset, &preset)) {
        result.badInput = true;
        result.error =
            QStringLiteral("unknown preset %1 (fast, balanced or small)").arg(options.preset);
        return result;
    }
    OutputFile out;
    if (!out.prepare(options.output, options.replace, &result.error)) {
        result.badInput = true;
        return result;
    }
    if (options.gpx) {
        result.gpxPath = gpxPathFor(options.output);
        if (QFileInfo::exists(result.gpxPath) && !options.replace) {
            result.badInput = true;
            result.error = QStringLiteral("%1 exists (--force replaces it)").arg(result.gpxPath);
            return result;
        }
    }
    QVector<double> starts;
    if (options.overlay) {
        OverlayExport encode;
        OverlaySettings settings;
        settings.panel = options.panel;
        settings.preset = options.preset;
        const bool ok = encode.run(stretch, out.partPath(), settings, progress);
        result.frames = encode.frames();
        result.drawn = encode.drawn();
        result.overlayMs = encode.overlayMs();
        result.encoder = encode.encoderName();
        if (!ok) {
            result.cancelled = encode.cancelled();
            result.error = encode.error();
            return result;
        }
        result.seconds = encode.seconds();
        result.trackPackets = encode.trackPackets();
        for (const Piece &p : stretch.pieces)
            starts.append(p.from); // cut to the frame
    } else {
        StreamCopy copy;
        if (!copy.run(stretch, out.partPath(), progress)) {
            result.cancelled = copy.cancelled();
            result.error = copy.error();
            return result;
        }
        result.seconds = copy.seconds();
        result.trackPackets = copy.trackPackets();
        starts = copy.pieceStarts();
    }
    if (options.gpx && !writeGpx(stretch, starts, result.gpxPath, &result.error))
        return result;
    if (!out.commit(&result.error))
        return result;
    result.ok = true;
    return result;
}

} // namespace videoexport
