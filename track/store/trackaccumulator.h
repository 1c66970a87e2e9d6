#pragma once

#include "videoinfoparse.h"

// The one accumulation every reader runs while it fills the store, so that
// maximum, average and distance mean the same whatever file the track came
// from.
class TrackAccumulator
{
public:
    explicit TrackAccumulator(VideoInfoParse &store) : store(store) {}

    // Takes ownership of the sample. An invalid one is normalised first.
    // False, with the store emptied, when the track would grow beyond
    // tracklimits::maxSamples: the reader stops and refuses the file.
    [[nodiscard]] bool add(VideoInfo *sample);
    // 0 and the store parsed, or -1 when fewer than two fixes were valid.
    int finish();

private:
    VideoInfoParse &store;
    int validCount = 0;
    double prevLat = 0.0;
    double prevLon = 0.0;
};
