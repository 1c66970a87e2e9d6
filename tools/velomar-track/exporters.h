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

bool isFormat(const QString &name);
void write(const QString &format, const QString &title, const QVector<Point> &points,
           std::ostream &os);

} // namespace exporters
