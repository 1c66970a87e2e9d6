#pragma once

// A card read as its moments: the files the cameras of one recorder wrote at
// the same moment become one clip with a channel each; its track comes from
// whichever channel has one (the front first), so distances and routes count
// each moment once. Every clip is then placed on the camera's clock.

#include "trip.h"

#include <QStringList>
#include <QVector>
#include <functional>

namespace trip {

// Called after each file with how many of how many are done; false stops
// the reading, which then returns what it has.
using Progress = std::function<bool(int done, int total)>;

QVector<Clip> readMoments(const QStringList &videos, const QString &settingsDir = QString(),
                          const Progress &progress = Progress());

// Clips that no name told a channel of, recorded at the same time (start
// and length within a second) in different folders, as one moment: the one
// with a track, else the first, is the front.
void pairByTime(QVector<Clip> &clips);

} // namespace trip
