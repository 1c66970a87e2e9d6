#pragma once

// The stretch of a drive a user exports: from and to as seconds on the
// drive's time line (seconds since its first clip began, gaps between clips
// included), cut into one piece a clip.

#include "trip.h"

#include <QString>
#include <QVector>

namespace videoexport {

struct Piece
{
    trip::Clip clip;
    double from = 0.0; // seconds into the clip
    double to = 0.0;
    double at = 0.0; // where the clip begins on the drive's time line
};

struct Stretch
{
    QVector<Piece> pieces;
    double from = 0.0; // on the drive's time line
    double to = 0.0;
    // Clips of the stretch whose length could not be read (a card pulled
    // while the camera wrote): left out, and the user told so.
    QStringList unreadable;
    double seconds() const;
};

// A fix stands for its whole second: it belongs to the seconds [from, to)
// of its clip while any of its second lies there.
inline bool shown(const trip::Point &p, double from, double to)
{
    return p.sample.valid && p.second + 1 > from && p.second < to;
}

// Where each clip of the drive begins on its time line, and where the drive ends.
double clipAt(const trip::Drive &drive, int clip);
double driveSeconds(const trip::Drive &drive);

// The pieces of [from, to); false with a one-line reason when the stretch is
// empty or leaves the drive, or covers no recorded second.
bool stretchOf(const trip::Drive &drive, double from, double to, Stretch &out, QString *error);

// A time given by the user: seconds into the drive ("95", "95.5"), or a date
// and time on the camera's clock ("2024-05-14T14:03:10"), then given in
// dateTime (else invalid) so that the caller can pick the drive that holds it.
bool parseTime(const QString &text, double *seconds, QDateTime *dateTime, QString *error);

// "01:02:03" for a span of seconds.
QString clockText(double seconds);

} // namespace videoexport
