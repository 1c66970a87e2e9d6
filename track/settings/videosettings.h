#pragma once

// What the user set for one video: the time offset between the video and its
// track, and a track imported from another device. Kept in a folder of the
// program's own (the window passes one under the user's settings folder),
// never beside the video: videos often lie on a camera's card or on media
// the user does not want written to.
//
// A video is known by its canonical path and its size. The canonical path,
// so that the same file reached through a link or another relative path has
// one set of settings; the size, because cameras reuse names (FILE0001.MP4
// after each formatting of the card), and a new clip must not inherit the
// offset and track of an old one. A renamed or moved video starts afresh.
//
// For the video, two files named by a hash of both:
//   <hash>.json  {"version": 1, "video": canonical path, "size": bytes,
//                 "offset": seconds, "track": {"from": path, "format": "gpx",
//                 "points": n}}
//   <hash>.csv   the imported track: "utc_ms,latitude,longitude,speed_kmh,
//                altitude" and one line a point, speed and altitude empty
//                where the file had none.
// Both are written atomically and never through a symbolic link. A file that
// is a link, not a regular file, too large, or not in this form is ignored
// with a log line. Writes are meant for one thread (the window's); reading
// from others (the parse thread) is safe.

#include "standardgpx.h"

#include <QString>
#include <QVector>

class VideoSettings
{
public:
    // The folder is created (mode 0700) at the first write.
    explicit VideoSettings(const QString &folder);

    QString folder() const { return dir; }

    // The track's sample of second s - offset is shown at video second s:
    // a positive offset shows the track later. An imported track is laid on
    // the video at the shifted time instead, so that the seconds at either
    // end keep its points from beyond the video.
    static constexpr int maxOffset = 86400;
    int offset(const QString &video) const;
    // False when the video cannot be found, the offset is beyond maxOffset
    // either way, or the settings cannot be written.
    bool setOffset(const QString &video, int seconds);

    // Reads the track file (trackimport::read) and keeps a copy of the points
    // within a day of the video's recording. False, with `error` for the
    // user, when the file cannot be read, the video has no recording time to
    // lay it on, no point is that near, or the copy cannot be written.
    bool importTrack(const QString &video, const QString &trackFile, QString *error = nullptr);
    bool hasImportedTrack(const QString &video) const;
    // The file the track was imported from; empty when unknown.
    QString importedTrackOrigin(const QString &video) const;
    // The kept copy, in time order. False, with a log line, when there is
    // none or it cannot be read.
    bool importedTrack(const QString &video, QVector<standardgpx::Point> &points,
                       QString *error = nullptr) const;
    // True when no imported track is left.
    bool clearImportedTrack(const QString &video);

    // The files' common name, without suffix; empty when the video cannot be
    // found.
    QString key(const QString &video) const;

    // Largest settings file read; a track copy is bounded by tracklimits.
    static constexpr qint64 maxJsonBytes = 64 * 1024;

private:
    QString dir;
};
