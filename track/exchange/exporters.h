#pragma once

#include "videoinfo.h"

#include <QString>
#include <QVector>
#include <ostream>

// Writers for the valid samples of a track, positions signed by their
// hemisphere flags, speeds in km/h.
namespace exporters {

struct Point
{
    int second;
    const VideoInfo *sample;
};

// One clip's samples in a file that holds several.
struct Segment
{
    QString name; // the clip's file name
    QVector<Point> points;
};

bool isFormat(const QString &name);

// One clip as one track.
void write(const QString &format, const QString &title, const QVector<Point> &points,
           std::ostream &os);

// Several clips in one file: a track segment each (GPX, under one track), a
// placemark each (KML), a feature each (GeoJSON), or rows told apart by a
// `clip` column (CSV). Segments without points are left out; one of a
// single point is a point where the format has no one-point line.
void writeSegments(const QString &format, const QString &title, const QVector<Segment> &segments,
                   std::ostream &os);

} // namespace exporters
