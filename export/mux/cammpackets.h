#pragma once

// Google's camera motion metadata (CAMM) packets for a track's fixes: type 6
// (time, position, altitude, velocity) where the fix's UTC time is known,
// else type 5 (position only). Little-endian, as the format has it.

#include "videoinfo.h"

#include <QByteArray>
#include <QDateTime>

namespace videoexport {

constexpr int cammType6Size = 60;
constexpr int cammType5Size = 28;

// `utc` invalid: a type 5 packet. `next` (may be null) gives the direction
// where the fix has no course of its own.
QByteArray cammPacket(const VideoInfo &fix, const QDateTime &utc, const VideoInfo *next);

} // namespace videoexport
