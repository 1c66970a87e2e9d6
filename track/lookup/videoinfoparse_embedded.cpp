#include "videoinfoparse.h"

#include "embedded/container.h"
#include "embedded/telemetry.h"
#include "embedded/texttrackreader.h"

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
