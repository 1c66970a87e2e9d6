#pragma once

// GoPro GPMF telemetry in the 'gpmd' metadata track (HERO5 to HERO13, MAX,
// Fusion): GPS5 or GPS9 streams with their scales, fix and time.

#include "telemetry.h"

#include <QByteArray>

namespace embedded {

class GpmfReader : public LayoutReader
{
public:
    const char *source() const override { return "gpmf"; }
    const char *description() const override;
    Outcome read(Container &file, Telemetry &out) override;

    // True when the payload starts as GPMF does: a nested DEVC.
    static bool looksLikeGpmf(const QByteArray &payload);
    // Appends the fixes of one payload, spread over [start, start + duration).
    // False, with `error`, when the KLV structure is broken (the fixes read
    // before the fault are kept).
    static bool decode(const QByteArray &payload, double start, double duration,
                       QVector<Fix> &fixes, QString *error = nullptr);
};

} // namespace embedded
