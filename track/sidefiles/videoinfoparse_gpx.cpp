// A standard GPX beside a video (a phone's or a logger's), laid on it by time.

#include "videoinfoparse.h"

#include "embedded/telemetry.h"
#include "standardgpx.h"

#include <QDebug>
#include <cmath>

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
