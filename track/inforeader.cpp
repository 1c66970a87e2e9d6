// The camera's ".info" track: one fix a line,
// "YYYYMMDD?hh:mm:ss,lat,lon,fixQuality,_,_,km/h,..." with signed decimal
// degrees. Every non-empty line takes one second; none is dropped.

#include "textlines.h"
#include "trackaccumulator.h"
#include "videoinfoparse.h"

#include <QDebug>

int VideoInfoParse::parseMarlGpsInfoFile(QString path)
{
    clearSamples();
    TrackAccumulator track(*this);

    QStringList lines;
    if (!readNonEmptyLines(path, lines)) {
        qWarning().noquote() << "open " + path + " failed";
        return -1;
    }
    if (lines.isEmpty())
        return -1;

    for (const QString &line : qAsConst(lines)) {
        const QStringList f = line.split(QLatin1Char(','));
        auto field = [&f](int i) { return i < f.size() ? f[i] : QString(); };

        auto *sample = new VideoInfo;
        const QString stamp = f[0];
        sample->date = stamp.mid(0, 4) + ':' + stamp.mid(4, 2) + ':' + stamp.mid(6, 2);
        sample->time = stamp.mid(9, 8);
        sample->valid = field(3).toInt(nullptr, 10) > 0 ? 1 : 0;
        if (sample->valid) {
            const double lat = field(1).toDouble();
            // Both flags follow the latitude; consumers negate both south
            // of the equator, as the camera's own viewer does.
            sample->isNorth = lat > 0.0;
            sample->isEast = lat > 0.0;
            sample->latitude = lat;
            sample->longitude = field(2).toDouble();
            sample->speed = field(6).toDouble();
        }
        track.add(sample);
    }
    return track.finish();
}
