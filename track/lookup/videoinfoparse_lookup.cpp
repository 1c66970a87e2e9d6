// The store's track lookup for a video: which source is read, in which order.

#include "videoinfoparse.h"

#include "videosettings.h"
#include "xmlgpsparse.h"

#include <QDebug>
#include <QFile>

int VideoInfoParse::parseFile(QString videoPath)
{
    const QString asked = videoPath;
    const int offset = settingsDir.isEmpty() ? 0 : VideoSettings(settingsDir).offset(asked);
    // A track the user imported for this video is their choice over any the
    // camera wrote; it is laid with the offset already.
    int r = settingsDir.isEmpty() ? 1 : parseImportedTrack(asked, offset);
    if (r != 0) {
        r = parseFileImpl(videoPath);
        if (r < 0) {
            const int dot = videoPath.lastIndexOf('.');
            if (dot > 0 && videoPath.at(dot - 1) == QLatin1Char('B')) {
                videoPath[dot - 1] = QLatin1Char('A');
                r = parseFileImpl(videoPath);
            }
        }
        if (r == 0)
            shiftSamples(offset);
    }
    qInfo().noquote() << QStringLiteral("track of %1: %2 from %3%4")
                             .arg(asked, r < 0 ? QStringLiteral("none") : QStringLiteral("read"),
                                  source.isEmpty() ? QStringLiteral("no source") : source,
                                  offset ? QStringLiteral(", %1 s later").arg(offset) : QString());
    return r;
}

int VideoInfoParse::parseFileImpl(QString videoPath)
{
    const int dot = videoPath.lastIndexOf('.');
    const QString base = dot < 0 ? videoPath : videoPath.left(dot);

    resetVideoInfo();
    source.clear();
    clock.clear();

    // A camera ".info" is authoritative: nothing else is tried beside it.
    if (QFile::exists(base + ".info")) {
        source = QStringLiteral("info");
        const int r = parseMarlGpsInfoFile(base + ".info");
        if (r < 0)
            resetVideoInfo();
        return r;
    }

    QString track = base + ".TXT";
    source = QStringLiteral("nmea");
    if (!QFile::exists(track)) {
        track = base + ".map";
        source = QStringLiteral("map");
    }
    if (!QFile::exists(track)) {
        if (QFile::exists(base + ".GPX")) {
            source = QStringLiteral("gpx");
            // A phone's or a logger's GPX is placed by its times, with
            // nothing written beside the video; the camera's own flat XML
            // goes through its conversion.
            const int timed = parseTimedGpx(base + ".GPX", videoPath);
            if (timed <= 0) {
                if (timed < 0)
                    resetVideoInfo();
                return timed;
            }
            // Writes the ".map" but reports false: it is read from the next
            // opening on.
            if (!XmlGpsParse::parseFile(base + ".GPX", track))
                return -1;
        } else {
            // The video's own layout, read in place: nothing is written
            // beside it and ffmpeg is not started.
            const int own = parseEmbeddedTrack(videoPath);
            if (own <= 0)
                return own;
            source = QStringLiteral("subtitle");
            clock.clear();
            if (parseSubtitleTrack(videoPath, track) < 0) {
                resetVideoInfo();
                return -1;
            }
            return 0;
        }
    }

    if (parseGpsInfoFile(track) < 0) {
        resetVideoInfo();
        return -1;
    }
    return 0;
}
