#pragma once

// Reads the test pictures' colours back: the solid colours of the cameras'
// clips and the grey placeholder of a missing one.

#include "trackgen.h"

#include <QColor>
#include <QImage>
#include <QPointF>
#include <QProcess>
#include <QSize>
#include <QString>

namespace colours {

// "blue", "red", "green", "placeholder" or the colour's name.
inline QString at(const QImage &image, QPointF fraction)
{
    const QColor c =
        image.pixelColor(int(fraction.x() * image.width()), int(fraction.y() * image.height()));
    if (c.blue() > 150 && c.red() < 80 && c.green() < 80)
        return "blue";
    if (c.red() > 150 && c.blue() < 80 && c.green() < 80)
        return "red";
    if (c.green() > 100 && c.red() < 80 && c.blue() < 80)
        return "green";
    if (qAbs(c.red() - 0x30) < 16 && qAbs(c.green() - 0x30) < 16 && qAbs(c.blue() - 0x30) < 16)
        return "placeholder";
    return c.name();
}

// A clip of one colour, as a camera of its own; false when ffmpeg fails.
inline bool clip(const QString &path, const char *colour, QSize size, int seconds)
{
    QProcess ffmpeg;
    ffmpeg.start(
        trackgen::ffmpegPath(),
        {"-loglevel", "error", "-y", "-f", "lavfi", "-i",
         QStringLiteral("color=c=%1:s=%2x%3:r=30").arg(colour).arg(size.width()).arg(size.height()),
         "-t", QString::number(seconds), "-c:v", "libx264", "-pix_fmt", "yuv420p", path});
    return ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0;
}

} // namespace colours
