#pragma once

// The layouts read from one box or one track of small records.

#include "container.h"
#include "telemetry.h"

#include <QByteArray>

namespace embedded {

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
    // Type 6 times as decoded to UTC, by the file's creation time (Unix s,
    // -1 when unknown).
    static void placeTimes(QVector<Fix> &fixes, qint64 creationTime);
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

// What a reader makes of one sample of a track it walks.
enum class Verdict
{
    Taken,
    NotThisTrack, // another kind of track after all: the next one is tried
    Deferred,     // the subtitle path reads this track
};

// Walks the samples (their first maxBytes) of every track that passes
// `wanted`, calling `each(sample, bytes)`, until a track gives fixes: Read
// then, Absent when none does.
template <typename Wanted, typename Each>
Outcome eachSample(Container &file, Telemetry &out, Wanted wanted, Each each,
                   qint64 maxBytes = 1 << 20)
{
    for (const TrackInfo &t : qAsConst(file.tracks)) {
        if (!wanted(t))
            continue;
        QVector<Sample> samples;
        if (!file.samples(t, samples)) {
            out.error = file.error();
            return Outcome::Refused;
        }
        const int before = out.fixes.size();
        QByteArray data;
        for (const Sample &s : qAsConst(samples)) {
            if (!file.io.read(s.offset, qMin<qint64>(s.size, maxBytes), data)) {
                out.error = file.error();
                return Outcome::Refused;
            }
            const Verdict v = each(s, data);
            if (v == Verdict::Deferred)
                return Outcome::Deferred;
            if (v == Verdict::NotThisTrack) {
                out.fixes.resize(before);
                break;
            }
        }
        if (out.fixes.size() > before)
            return Outcome::Read;
    }
    return Outcome::Absent;
}

} // namespace embedded
