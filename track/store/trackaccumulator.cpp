#include "trackaccumulator.h"

#include "tracklimits.h"

#include <QDebug>

bool TrackAccumulator::add(VideoInfo *sample)
{
    if (store.count >= tracklimits::maxSamples) {
        delete sample;
        store.clearSamples();
        store.resetVideoInfo();
        return false;
    }
    if (sample->valid) {
        ++validCount;
        // A fix on 0 is no start of a leg; NaN compares unequal and so counts.
        if (prevLat != 0.0 && prevLon != 0.0)
            store.totalDistance +=
                store.get2PointDistance(sample->latitude, sample->longitude, prevLat, prevLon);
        prevLat = sample->latitude;
        prevLon = sample->longitude;
    } else {
        sample->makePlaceholder();
    }
    // Keys only grow: the end is the right place, and the hint saves the search.
    store.videoInfoMap.insert(store.videoInfoMap.cend(), store.count, sample);
    if (sample->speed > store.maxSpeed)
        store.maxSpeed = sample->speed;
    ++store.count;
    return true;
}

int TrackAccumulator::finish()
{
    if (store.count < 1 || validCount < 2)
        return -1;
    store.isParsed = 1;
    store.totalDistance /= 1000.0;
    store.avgSpeed = store.totalDistance * 3600.0 / (validCount - 1);
    qDebug() << "avgSpeed:" << store.avgSpeed;
    return 0;
}
