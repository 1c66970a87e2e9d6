#pragma once

// The layouts read from one box or one track of small records.

#include "telemetry.h"

#include <QByteArray>

namespace embedded {

struct TrackInfo;

// BlackVue: a top-level free box whose `gps ` child holds NMEA lines, each
// after "[unix-milliseconds]".
class BlackVueReader : public LayoutReader
{
public:
    const char *source() const override { return "blackvue"; }
    const char *description() const override;
    Outcome read(Container &file, Telemetry &out) override;
    static void decode(const QByteArray &lines, QVector<Fix> &fixes);
};

// Google CAMM metadata tracks (Insta360 exports, some action cams):
// packet type 6 (a whole fix with its GPS time) and type 5 (a position).
class CammReader : public LayoutReader
{
public:
    const char *source() const override { return "camm"; }
    const char *description() const override;
    Outcome read(Container &file, Telemetry &out) override;
    // The packets of one sample; false when one is cut short or unknown.
    static bool decode(const QByteArray &sample, double at, QVector<Fix> &fixes);
};

// 70mai Pro, Midrive D02/D03: a top-level `GPS ` box of 36-byte records.
class SeventyMaiReader : public LayoutReader
{
public:
    const char *source() const override { return "70mai"; }
    const char *description() const override;
    Outcome read(Container &file, Telemetry &out) override;
    static void decode(const QByteArray &records, QVector<Fix> &fixes);
};

// Garmin dash cams: `PNDM` samples in a text track.
class GarminReader : public LayoutReader
{
public:
    const char *source() const override { return "garmin"; }
    const char *description() const override;
    Outcome read(Container &file, Telemetry &out) override;
    static bool decode(const QByteArray &sample, Fix &fix);
};

// The text of a text or subtitle track's sample: after its 16-bit length
// where it has one.
QByteArray sampleText(const QByteArray &sample);
// The text tracks of a file, the way cameras declare them.
bool isTextTrack(const TrackInfo &track);

} // namespace embedded
