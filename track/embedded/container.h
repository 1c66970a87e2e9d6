#pragma once

// An MP4/MOV file as the telemetry readers need it: the top-level boxes, the
// movie header and each track's handler, sample entry and sample table.
// Only a track a reader asks for has its samples listed.

#include "boxwalker.h"

namespace embedded {

struct Sample
{
    qint64 offset = 0;
    std::uint32_t size = 0;
    double time = 0.0;     // s on the movie's timeline
    double duration = 0.0; // s
};

struct TrackInfo
{
    std::uint32_t id = 0;
    std::uint32_t handler = 0;   // 'vide', 'soun', 'meta', 'text', 'sbtl', ...
    QString handlerName;         // e.g. "GoPro MET"
    std::uint32_t format = 0;    // first sample entry: 'gpmd', 'tx3g', 'camm', ...
    QByteArray sampleEntry;      // that entry, header included, at most 4 KiB
    std::uint32_t timescale = 0; // of the media
    Box stbl;
};

class Container
{
public:
    static constexpr int maxSamples = 1000000;
    static constexpr int maxTracks = 64;

    // False when the file is no MP4/MOV (error() empty), or when it is one
    // whose boxes cannot be walked (error() says what and where).
    bool open(const QString &path);
    QString error() const { return io.error(); }

    // The samples of a track in decoding order, each placed on the movie's
    // timeline. False, with error(), when its tables contradict each other
    // or the file.
    bool samples(const TrackInfo &track, QVector<Sample> &out);

    Box topLevel(std::uint32_t type) const;
    // A direct child of moov, or a box of type 0.
    Box inMoov(std::uint32_t type) const;
    double duration() const
    {
        return movieTimescale ? double(movieDuration) / movieTimescale : 0.0;
    }

    BoxWalker io;
    QVector<Box> top;
    Box moov;
    QVector<Box> moovChildren;
    QVector<TrackInfo> tracks;
    std::uint32_t movieTimescale = 0;
    std::uint64_t movieDuration = 0;
    qint64 creationTime = -1; // Unix seconds, as the camera's clock wrote it

private:
    void readMovieHeader();
    void readTrack(const Box &trak);
};

} // namespace embedded
