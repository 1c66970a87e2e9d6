#include "videoinfoparse.h"

#include "embedded/container.h"
#include "embedded/telemetry.h"
#include "embedded/texttrackreader.h"
#include "standardgpx.h"

#include <cmath>

#include <QDebug>

int VideoInfoParse::parseEmbeddedTrack(const QString &videoPath)
{
    embedded::Telemetry telemetry;
    embedded::Outcome found = embedded::Outcome::Absent;
    const QString flightRecord = embedded::DjiReader::sideFile(videoPath);
    if (!flightRecord.isEmpty()) {
        found = embedded::DjiReader::readSideFile(flightRecord, telemetry);
        embedded::Container video; // its length bounds the flight record's seconds
        if (video.open(videoPath))
            telemetry.videoDuration = video.duration();
        if (found == embedded::Outcome::Refused)
            qWarning().noquote() << "DJI flight record refused:" << telemetry.error;
    } else {
        found = embedded::readVideo(videoPath, telemetry);
    }
    if (found == embedded::Outcome::Absent || found == embedded::Outcome::Deferred)
        return 1;

    source = telemetry.source;
    clearSamples();
    resetVideoInfo();
    if (found == embedded::Outcome::Refused)
        return -1;
    const int r = embedded::fillStore(telemetry, *this);
    if (r < 0) {
        qDebug().noquote() << source << "track of" << videoPath << "has fewer than two valid fixes";
        resetVideoInfo();
    }
    return r;
}

int VideoInfoParse::parseTimedGpx(const QString &gpxPath, const QString &videoPath)
{
    clearSamples();
    resetVideoInfo();
    QVector<standardgpx::Point> points;
    QString error;
    const bool whole = standardgpx::read(gpxPath, points, &error);
    if (points.isEmpty())
        return 1; // no point with a time: the camera's own flat XML
    if (!whole) {
        qWarning().noquote() << "GPX: refused," << error;
        return -1;
    }
    double duration = 0.0;
    const QDateTime start = standardgpx::videoStart(videoPath, &duration);
    if (!start.isValid()) {
        qWarning().noquote() << "GPX:" << gpxPath
                             << "cannot be placed: the video has no recording time";
        return -1;
    }
    embedded::Telemetry telemetry;
    telemetry.videoDuration = duration;
    standardgpx::place(points, start, duration > 0 ? int(std::ceil(duration - 0.001)) : 0,
                       telemetry);
    const int r = embedded::fillStore(telemetry, *this);
    if (r < 0) {
        qDebug().noquote() << "GPX:" << gpxPath << "has fewer than two fixes during" << videoPath;
        resetVideoInfo();
    }
    return r;
}
