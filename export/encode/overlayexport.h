#pragma once

// The stretch re-encoded with the dashboard burnt into the picture: each
// clip's main channel decoded from the key frame before the stretch's start,
// cut to the frame, the panel blended into its rectangle (repainted once a
// second, when the reading changes), encoded with x264; the sound copied;
// the track inside as CAMM, as the copy writes it.

#include "panel.h"
#include "streamcopy.h"
#include "stretch.h"

#include <QString>
#include <QVector>

namespace videoexport {

struct OverlaySettings
{
    dashboard::PanelOptions panel;
    QString preset = QStringLiteral("balanced");
};

// What the panel showed from an output frame on: the texts it drew.
struct DrawnSecond
{
    int frame;
    QStringList texts;
};

class OverlayExport
{
public:
    bool run(const Stretch &stretch, const QString &path, const OverlaySettings &settings,
             const ProgressFn &progress);
    QString error() const { return message; }
    bool cancelled() const { return stopped; }
    double seconds() const { return written; }
    int frames() const { return frameCount; }
    int trackPackets() const { return packets; }
    // Every repaint of the panel, for checking what the picture says.
    const QVector<DrawnSecond> &drawn() const { return paints; }
    // Time spent painting and blending the panel, ms.
    double overlayMs() const { return overlayTime; }
    QString encoderName() const { return encoderUsed; }

private:
    QString message;
    bool stopped = false;
    double written = 0.0;
    int frameCount = 0;
    int packets = 0;
    double overlayTime = 0.0;
    QString encoderUsed;
    QVector<DrawnSecond> paints;
};

} // namespace videoexport
