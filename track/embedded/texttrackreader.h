#pragma once

// NMEA in text and subtitle tracks, read from the samples themselves:
// Thinkware's "gsensori,...;GNRMC,...;CAR,..." lines, Nextbase 322GW-622GW's
// 288-byte binary samples, and $GNRMC text that the subtitle path would drop.
// A track of plain $GPRMC lines is left to the subtitle path, which reads it.

#include "telemetry.h"

#include <QByteArray>

namespace embedded {

class TextTrackReader : public LayoutReader
{
public:
    const char *source() const override { return "texttrack"; }
    const char *description() const override;
    Outcome read(Container &file, Telemetry &out) override;

    enum class Kind
    {
        None,
        SubtitlePath,
        Nmea,
        Nextbase
    };
    // What a track whose first sample with text is `sample` holds.
    static Kind classify(const QByteArray &sample);
    // One sample into a fix (placed at `at`); false when it holds none.
    static bool decode(const QByteArray &sample, Kind kind, Fix &fix);
};

// DJI drones: the old ones' subtitle text "GPS (lon, lat, alt)" in the video,
// and the newer ones' NAME.SRT beside it, "[latitude: ..] [longitude: ..]" a
// frame.
class DjiReader : public LayoutReader
{
public:
    const char *source() const override { return "dji"; }
    const char *description() const override;
    Outcome read(Container &file, Telemetry &out) override;

    // The fix in one subtitle text, either form; false when it has none.
    static bool decodeText(const QString &text, Fix &fix);
    // The NAME.SRT beside a video, when it is a DJI flight record (a user's
    // own subtitles are not). Empty when there is none.
    static QString sideFile(const QString &videoPath);
    // Reads that file; Refused (with error) when it cannot be read.
    static Outcome readSideFile(const QString &srtPath, Telemetry &out);
};

} // namespace embedded
