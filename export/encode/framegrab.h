#pragma once

// One picture of a video at a time, decoded from the key frame before it:
// the snapshot of one camera of a moment at its own resolution, where the
// player's picture composes several.

#include <QImage>
#include <QString>

namespace videoexport {

// The frame shown at `seconds` into the file; null when it cannot be read.
QImage frameAt(const QString &path, double seconds);

} // namespace videoexport
