// The track a user imported for a video, and the time offset they set.

#include "videoinfoparse.h"

#include "embedded/telemetry.h"
#include "standardgpx.h"
#include "videosettings.h"

#include <QDebug>
#include <QFileInfo>
#include <cmath>

int VideoInfoParse::parseImportedTrack(const QString &videoPath, int offset)
{
    const VideoSettings settings(settingsDir);
    if (!settings.hasImportedTrack(videoPath))
        return 1;
    QVector<standardgpx::Point> points;
    if (!settings.importedTrack(videoPath, points))
        return 1;
    double duration = 0.0;
    const QDateTime start = standardgpx::videoStart(videoPath, &duration);
    if (!start.isValid()) {
        qWarning().noquote() << "imported track of" << videoPath
                             << "not used: the video has no recording time";
        return 1;
    }
    embedded::Telemetry telemetry;
    telemetry.videoDuration = duration;
    // Laid at the shifted time, so that the seconds an offset brings in at
    // either end keep the track's positions from beyond the video.
    standardgpx::place(points, start.addSecs(-offset),
                       duration > 0 ? int(std::ceil(duration - 0.001)) : 0, telemetry);
    telemetry.source = QStringLiteral("import");
    clearSamples();
    resetVideoInfo();
    source = QStringLiteral("import");
    clock.clear();
    if (embedded::fillStore(telemetry, *this) < 0) {
        qWarning().noquote() << "imported track of" << videoPath
                             << "not used: fewer than two of its points fall within the video";
        clearSamples();
        resetVideoInfo();
        source.clear();
        clock.clear();
        return 1;
    }
    return 0;
}

void VideoInfoParse::shiftSamples(int seconds)
{
    if (seconds == 0 || count <= 0)
        return;
    QMap<int, VideoInfo *> shifted;
    for (int s = 0; s < count; ++s) {
        const qint64 from = qint64(s) - seconds;
        VideoInfo *sample = from >= 0 && from < count ? videoInfoMap.take(int(from)) : nullptr;
        if (!sample) {
            sample = new VideoInfo; // valid 0
            sample->makePlaceholder();
        }
        shifted.insert(shifted.cend(), s, sample);
    }
    qDeleteAll(videoInfoMap); // the samples shifted past either end
    videoInfoMap.swap(shifted);
}
