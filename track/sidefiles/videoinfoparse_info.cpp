// The camera's ".info" track: one fix a line,
// "YYYYMMDD?hh:mm:ss,lat,lon,fixQuality,_,_,km/h,..." with signed decimal
// degrees. Every non-empty line takes one second; none is dropped.

#include "fields.h"
#include "linereader.h"
#include "trackaccumulator.h"
#include "videoinfoparse.h"

#include <QDebug>

int VideoInfoParse::parseMarlGpsInfoFile(QString path)
{
    clearSamples();
    if (!tracklimits::fileSizeAcceptable(path, ".info"))
        return -1;
    TrackAccumulator track(*this);

    LineReader text;
    if (!text.open(path)) {
        qWarning().noquote() << "open " + path + " failed";
        return -1;
    }

    Fields f;
    QStringRef line;
    while (text.next(line)) {
        splitFields(line, f, 8); // fields 7 and on are never read
        auto field = [&f](int i) { return i < f.size() ? f[i] : QStringRef(); };

        auto *sample = new VideoInfo;
        const QStringRef stamp = f[0];
        sample->date = colonJoined(stamp.mid(0, 4), stamp.mid(4, 2), stamp.mid(6, 2));
        sample->time = stamp.mid(9, 8).toString();
        sample->valid = field(3).toInt(nullptr, 10) > 0 ? 1 : 0;
        if (sample->valid) {
            const double lat = toDouble(field(1));
            // Both flags follow the latitude; consumers negate both south
            // of the equator, as the camera's own viewer does.
            sample->isNorth = lat > 0.0;
            sample->isEast = lat > 0.0;
            sample->latitude = lat;
            sample->longitude = toDouble(field(2));
            sample->speed = toDouble(field(6));
        }
        if (!track.add(sample)) {
            tracklimits::refuseTooManySamples(path, ".info");
            return -1;
        }
    }
    return track.finish();
}
