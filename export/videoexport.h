#pragma once

// Evidence clips: a stretch of a drive written as one MP4 with the track
// inside (a CAMM metadata track) and, when asked, a GPX file beside it.

#include "overlayexport.h"
#include "streamcopy.h"
#include "stretch.h"

#include <QString>

namespace videoexport {

struct Options
{
    QString output;
    bool overlay = true; // the dashboard drawn into the picture (re-encodes)
    QString preset = QStringLiteral("balanced"); // fast, balanced, small
    bool gpx = false;                            // OUT.gpx beside OUT.mp4
    bool replace = false;
    dashboard::PanelOptions panel; // what the overlay shows, and how
};

struct Result
{
    bool ok = false;
    bool cancelled = false;
    bool badInput = false; // the request, not the writing, failed
    QString error;         // one line
    double seconds = 0.0;  // the video's length
    int trackPackets = 0;
    QString gpxPath;
    // The overlay's: frames encoded, the panel's repaints and what they
    // showed, and the time spent drawing and blending it.
    int frames = 0;
    QString encoder; // "libx264", or the hardware encoder that took its place
    QVector<DrawnSecond> drawn;
    double overlayMs = 0.0;
};

QString gpxPathFor(const QString &output);

// The hardware H.264 encoder that passed a test encode on this machine
// (h264_nvenc, h264_amf), else empty for x264; probed once.
QString workingHardwareEncoder();

Result exportStretch(const Stretch &stretch, const Options &options, const ProgressFn &progress);

} // namespace videoexport
