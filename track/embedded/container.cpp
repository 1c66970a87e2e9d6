#include "container.h"

namespace embedded {

namespace {

// Seconds from 1904 (QuickTime's epoch) to 1970.
constexpr qint64 macToUnix = 2082844800;

bool isTopLevelType(std::uint32_t type)
{
    switch (type) {
    case fourcc("ftyp"):
    case fourcc("moov"):
    case fourcc("mdat"):
    case fourcc("free"):
    case fourcc("skip"):
    case fourcc("wide"):
    case fourcc("pnot"):
        return true;
    default:
        return false;
    }
}

} // namespace

bool Container::open(const QString &path)
{
    if (!io.open(path))
        return false;
    // Known first box, or this is no MP4/MOV (an AVI, a text file) and
    // nothing is said about it.
    QByteArray head;
    if (io.fileSize() < 8 || !io.read(0, 8, head) || !isTopLevelType(Bytes(head).u32(4))) {
        io.clearError(); // no MP4/MOV: nothing to say about it
        return false;
    }
    const bool walked = io.children(0, io.fileSize(), top);
    moov = topLevel(fourcc("moov"));
    if (!moov.type)
        return walked ? io.fail(0, QStringLiteral("no movie box")) : false;
    if (!io.children(moov, moovChildren))
        return false;
    readMovieHeader();
    for (const Box &b : qAsConst(moovChildren))
        if (b.type == fourcc("trak") && tracks.size() < maxTracks)
            readTrack(b);
    return true;
}

Box Container::topLevel(std::uint32_t type) const
{
    for (const Box &b : top)
        if (b.type == type)
            return b;
    return Box{};
}

Box Container::inMoov(std::uint32_t type) const
{
    for (const Box &b : moovChildren)
        if (b.type == type)
            return b;
    return Box{};
}

void Container::readMovieHeader()
{
    const Box mvhd = inMoov(fourcc("mvhd"));
    QByteArray data;
    if (!mvhd.type || !io.read(mvhd.payloadOffset(), qMin<qint64>(mvhd.payloadSize(), 32), data))
        return;
    Bytes b(data);
    std::uint64_t created;
    if (b.u8(0) == 1) {
        created = b.u64(4);
        movieTimescale = b.u32(20);
        movieDuration = b.u64(24);
    } else {
        created = b.u32(4);
        movieTimescale = b.u32(12);
        movieDuration = b.u32(16);
    }
    if (!b.ok) {
        movieTimescale = 0;
        movieDuration = 0;
        return;
    }
    if (created > std::uint64_t(macToUnix) && created < (std::uint64_t(1) << 40))
        creationTime = qint64(created) - macToUnix;
}

void Container::readTrack(const Box &trak)
{
    TrackInfo t;
    const Box tkhd = io.child(trak, fourcc("tkhd"));
    QByteArray data;
    if (tkhd.type && io.read(tkhd.payloadOffset(), qMin<qint64>(tkhd.payloadSize(), 24), data)) {
        Bytes b(data);
        t.id = b.u8(0) == 1 ? b.u32(20) : b.u32(12);
    }
    const Box mdia = io.child(trak, fourcc("mdia"));
    if (!mdia.type)
        return;
    const Box mdhd = io.child(mdia, fourcc("mdhd"));
    if (mdhd.type && io.read(mdhd.payloadOffset(), qMin<qint64>(mdhd.payloadSize(), 24), data)) {
        Bytes b(data);
        t.timescale = b.u8(0) == 1 ? b.u32(20) : b.u32(12);
        if (!b.ok)
            t.timescale = 0;
    }
    const Box hdlr = io.child(mdia, fourcc("hdlr"));
    if (hdlr.type && io.read(hdlr.payloadOffset(), qMin<qint64>(hdlr.payloadSize(), 256), data)) {
        Bytes b(data);
        t.handler = b.u32(8);
        // ISO writes a C string, QuickTime a length byte first.
        QByteArray name = data.mid(24);
        if (!name.isEmpty() && quint8(name[0]) == name.size() - 1)
            name = name.mid(1);
        const int nul = name.indexOf('\0');
        t.handlerName = QString::fromLatin1(nul < 0 ? name : name.left(nul)).trimmed();
    }
    const Box minf = io.child(mdia, fourcc("minf"));
    t.stbl = minf.type ? io.child(minf, fourcc("stbl")) : Box{};
    if (t.stbl.type) {
        const Box stsd = io.child(t.stbl, fourcc("stsd"));
        if (stsd.type && stsd.payloadSize() >= 16) {
            QVector<Box> entries;
            io.children(stsd.payloadOffset() + 8, stsd.end(), entries);
            if (!entries.isEmpty()) {
                t.format = entries[0].type;
                io.read(entries[0].offset, qMin<qint64>(entries[0].size, 4096), t.sampleEntry);
            }
        }
    }
    tracks.append(t);
}

bool Container::samples(const TrackInfo &track, QVector<Sample> &out)
{
    out.clear();
    if (!track.stbl.type)
        return io.fail(0, QStringLiteral("track %1 has no sample table").arg(track.id));
    if (track.timescale == 0)
        return io.fail(track.stbl.offset,
                       QStringLiteral("track %1 has no time scale").arg(track.id));

    QVector<Box> tables;
    if (!io.children(track.stbl, tables))
        return false;
    auto table = [&](std::uint32_t type) {
        for (const Box &b : qAsConst(tables))
            if (b.type == type)
                return b;
        return Box{};
    };
    const Box stsz = table(fourcc("stsz"));
    const Box stts = table(fourcc("stts"));
    const Box stsc = table(fourcc("stsc"));
    Box stco = table(fourcc("stco"));
    const bool wide = !stco.type;
    if (wide)
        stco = table(fourcc("co64"));
    if (!stsz.type || !stts.type || !stsc.type || !stco.type)
        return io.fail(track.stbl.offset,
                       QStringLiteral("track %1 lacks a sample table box").arg(track.id));

    QByteArray szData, ttsData, scData, coData;
    if (!io.payload(stsz, szData) || !io.payload(stts, ttsData) || !io.payload(stsc, scData) ||
        !io.payload(stco, coData))
        return false;
    Bytes sz(szData, stsz.payloadOffset()), tts(ttsData, stts.payloadOffset()),
        sc(scData, stsc.payloadOffset()), co(coData, stco.payloadOffset());

    // Every count is checked against the bytes that hold its entries: a
    // count of 2^32-1 in a small box is a lie, not a loop.
    const std::uint32_t fixedSize = sz.u32(4);
    const std::uint32_t count = sz.u32(8);
    if (!sz.ok || count > std::uint32_t(maxSamples) ||
        (fixedSize == 0 && qint64(count) * 4 > szData.size() - 12))
        return io.fail(stsz.offset,
                       QStringLiteral("sample size table of %1 entries does not fit").arg(count));
    const std::uint32_t timeEntries = tts.u32(4);
    if (!tts.ok || qint64(timeEntries) * 8 > ttsData.size() - 8)
        return io.fail(stts.offset,
                       QStringLiteral("time table of %1 entries does not fit").arg(timeEntries));
    const std::uint32_t chunkRuns = sc.u32(4);
    if (!sc.ok || qint64(chunkRuns) * 12 > scData.size() - 8)
        return io.fail(stsc.offset,
                       QStringLiteral("chunk table of %1 entries does not fit").arg(chunkRuns));
    const std::uint32_t chunks = co.u32(4);
    if (!co.ok || qint64(chunks) * (wide ? 8 : 4) > coData.size() - 8)
        return io.fail(stco.offset,
                       QStringLiteral("chunk offset table of %1 entries does not fit").arg(chunks));

    out.resize(int(count));
    // Times.
    {
        std::uint64_t ticks = 0;
        int n = 0;
        for (std::uint32_t e = 0; e < timeEntries && n < int(count); ++e) {
            const std::uint32_t run = tts.u32(8 + 8 * e);
            const std::uint32_t delta = tts.u32(12 + 8 * e);
            for (std::uint32_t i = 0; i < run && n < int(count); ++i, ++n) {
                out[n].time = double(ticks) / track.timescale;
                out[n].duration = double(delta) / track.timescale;
                ticks += delta;
            }
        }
        if (n < int(count))
            return io.fail(stts.offset,
                           QStringLiteral("time table covers %1 of %2 samples").arg(n).arg(count));
    }
    // Sizes and places.
    int n = 0;
    // Samples that overlap would have the readers read the same bytes over
    // and over: together they can be no larger than the file.
    qint64 total = 0;
    for (std::uint32_t run = 0; run < chunkRuns && n < int(count); ++run) {
        const std::uint32_t first = sc.u32(8 + 12 * run);
        const std::uint32_t perChunk = sc.u32(12 + 12 * run);
        const std::uint32_t next = run + 1 < chunkRuns ? sc.u32(20 + 12 * run) : chunks + 1;
        if (first < 1 || next <= first || next > chunks + 1)
            return io.fail(stsc.offset,
                           QStringLiteral("chunk table entry %1 is out of order").arg(run));
        for (std::uint32_t chunk = first; chunk < next && n < int(count); ++chunk) {
            qint64 offset =
                wide ? qint64(co.u64(8 + 8 * (chunk - 1))) : co.u32(8 + 4 * (chunk - 1));
            for (std::uint32_t i = 0; i < perChunk && n < int(count); ++i, ++n) {
                const std::uint32_t size = fixedSize ? fixedSize : sz.u32(12 + 4 * n);
                if (offset < 0 || offset > io.fileSize() || size > io.fileSize() - offset)
                    return io.fail(
                        stco.offset,
                        QStringLiteral("sample %1 lies past the end of the file").arg(n));
                total += size;
                if (total > io.fileSize())
                    return io.fail(stsz.offset,
                                   QStringLiteral("samples hold more bytes than the file"));
                out[n].offset = offset;
                out[n].size = size;
                offset += size;
            }
        }
    }
    if (n < int(count))
        return io.fail(stsc.offset,
                       QStringLiteral("chunks hold %1 of %2 samples").arg(n).arg(count));
    return true;
}

} // namespace embedded
