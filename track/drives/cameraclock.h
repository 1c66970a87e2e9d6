#pragma once

// One clock for a card: GPS fixes are on UTC, names and containers on the
// camera's own clock (set by its owner, usually to local time). A clip that
// has both tells the camera's offset from UTC; with it every clip is placed
// on the camera's clock. Without one the machine's time zone is assumed.

#include "trip.h"

#include <QVector>

namespace trip {

struct CameraClock
{
    int offsetSeconds = 0; // camera clock minus UTC
    bool assumed = true;   // true: the machine's time zone, no clip told
};

// The offset the clips tell, rounded to a quarter of an hour; the most
// common one where they disagree.
CameraClock cameraClock(const QVector<Clip> &clips);

// Sets every clip's start (camera clock) and utc from what it has.
void placeOnClock(QVector<Clip> &clips, const CameraClock &clock);

} // namespace trip
