// Which layouts a video is inspected for, and in which order: tracks and
// boxes the container names first, the scan of the media data last.

#include "container.h"
#include "gpmfreader.h"
#include "novatekreader.h"
#include "simplereaders.h"
#include "telemetry.h"
#include "texttrackreader.h"

#include <QDebug>

namespace embedded {

namespace {

// The index-less Novatek blocks are looked for only when nothing else
// is there: it means reading into the media data.
class NovatekScanReader : public NovatekReader
{
public:
    Outcome read(Container &file, Telemetry &out) override
    {
        return file.inMoov(fourcc("gps ")).type ? Outcome::Absent : NovatekReader::read(file, out);
    }
};

class NovatekIndexReader : public NovatekReader
{
public:
    Outcome read(Container &file, Telemetry &out) override
    {
        return file.inMoov(fourcc("gps ")).type ? NovatekReader::read(file, out) : Outcome::Absent;
    }
};

} // namespace

const QVector<LayoutReader *> &layoutReaders()
{
    static GpmfReader gpmf;
    static CammReader camm;
    static NovatekIndexReader novatekIndex;
    static BlackVueReader blackVue;
    static SeventyMaiReader seventyMai;
    static GarminReader garmin;
    static DjiReader dji;
    static TextTrackReader textTrack;
    static NovatekScanReader novatekScan;
    static const QVector<LayoutReader *> all{&gpmf,     &camm,       &novatekIndex,
                                             &blackVue, &seventyMai, &garmin,
                                             &dji,      &textTrack,  &novatekScan};
    return all;
}

Outcome readVideo(const QString &path, Telemetry &out)
{
    Container file;
    if (!file.open(path)) {
        if (!file.error().isEmpty()) {
            out.error = file.error();
            qWarning().noquote() << "container of" << path << "not read:" << out.error;
        }
        return Outcome::Absent;
    }
    for (LayoutReader *reader : layoutReaders()) {
        Telemetry t;
        t.fileCreation = file.creationTime;
        t.videoDuration = file.duration();
        const Outcome o = reader->read(file, t);
        if (o == Outcome::Absent)
            continue;
        if (o == Outcome::Refused)
            qWarning().noquote() << reader->source() << "track of" << path << "refused:" << t.error;
        out = std::move(t);
        return o;
    }
    return Outcome::Absent;
}

} // namespace embedded
