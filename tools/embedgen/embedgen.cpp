#include "embedgen.h"

#include "records.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>

namespace embedgen {

using namespace detail;

namespace {

const qint64 maxClipBytes = qint64(1) << 30;
const quint64 quickTimeEpoch = 2082844800; // 1904-01-01 in Unix time

quint16 be16(const QByteArray &b, int at)
{
    return quint16(quint8(b[at]) << 8 | quint8(b[at + 1]));
}

quint32 be32(const QByteArray &b, int at)
{
    return quint32(be16(b, at)) << 16 | be16(b, at + 2);
}

quint64 be64(const QByteArray &b, int at)
{
    return quint64(be32(b, at)) << 32 | be32(b, at + 4);
}

void setBe32(QByteArray &b, int at, quint32 v)
{
    for (int k = 0; k < 4; ++k)
        b[at + k] = char(v >> (24 - 8 * k));
}

void setBe64(QByteArray &b, int at, quint64 v)
{
    setBe32(b, at, quint32(v >> 32));
    setBe32(b, at + 4, quint32(v));
}

QByteArray be32Bytes(quint32 v)
{
    QByteArray b;
    putBe32(b, v);
    return b;
}

struct Box
{
    QByteArray type;
    QByteArray payload; // leaves only
    QVector<Box> children;
    bool container = false;
    bool large = false;
};

bool isContainer(const QByteArray &type)
{
    return type == "moov" || type == "trak" || type == "mdia" || type == "minf" || type == "stbl";
}

bool parseBoxes(const QByteArray &data, int from, int to, QVector<Box> *out, QString *error)
{
    int at = from;
    while (at < to) {
        if (to - at < 8) {
            *error = QStringLiteral("truncated box header at %1").arg(at);
            return false;
        }
        quint64 size = be32(data, at);
        int head = 8;
        if (size == 1) {
            if (to - at < 16) {
                *error = QStringLiteral("truncated box header at %1").arg(at);
                return false;
            }
            size = be64(data, at + 8);
            head = 16;
        } else if (size == 0) {
            size = quint64(to - at);
        }
        if (size < quint64(head) || size > quint64(to - at)) {
            *error = QStringLiteral("bad box size at %1").arg(at);
            return false;
        }
        Box b;
        b.type = data.mid(at + 4, 4);
        b.large = head == 16;
        if (isContainer(b.type)) {
            b.container = true;
            if (!parseBoxes(data, at + head, at + int(size), &b.children, error))
                return false;
        } else {
            b.payload = data.mid(at + head, int(size) - head);
        }
        out->append(b);
        at += int(size);
    }
    return true;
}

QByteArray serialize(const Box &b)
{
    if (!b.container)
        return box(b.type.constData(), b.payload, b.large);
    QByteArray payload;
    for (const Box &c : b.children)
        payload += serialize(c);
    return box(b.type.constData(), payload, b.large);
}

Box *child(Box *parent, const char *type)
{
    if (!parent)
        return nullptr;
    for (Box &c : parent->children)
        if (c.type == type)
            return &c;
    return nullptr;
}

// One existing track's samples as the clip stores them.
struct Table
{
    quint32 timescale = 0;
    QVector<qint64> offset;
    QVector<quint32> size;
    QVector<double> time; // seconds
    QVector<quint32> description;
    QVector<bool> chunkStart;
};

bool readTable(Box &trak, Table *t, QString *error)
{
    Box *mdia = child(&trak, "mdia");
    Box *mdhd = child(mdia, "mdhd");
    Box *stbl = child(child(mdia, "minf"), "stbl");
    Box *stsz = child(stbl, "stsz");
    Box *stsc = child(stbl, "stsc");
    Box *stts = child(stbl, "stts");
    Box *stco = child(stbl, "stco");
    Box *co64 = child(stbl, "co64");
    if (!mdhd || !stsz || !stsc || !stts || !(stco || co64)) {
        *error = QStringLiteral("a track without a complete sample table");
        return false;
    }
    const auto fits = [&](const Box *b, qint64 bytes) {
        if (b->payload.size() >= bytes)
            return true;
        *error = QStringLiteral("a short %1 box").arg(QString::fromLatin1(b->type));
        return false;
    };
    if (!fits(mdhd, 24))
        return false;
    t->timescale = be32(mdhd->payload, mdhd->payload.at(0) == 1 ? 20 : 12);
    if (t->timescale == 0) {
        *error = QStringLiteral("a track with time scale 0");
        return false;
    }

    const QByteArray &sz = stsz->payload;
    if (!fits(stsz, 12))
        return false;
    const quint32 fixedSize = be32(sz, 4);
    const qint64 count = be32(sz, 8);
    if (!fixedSize && !fits(stsz, 12 + 4 * count))
        return false;
    for (qint64 k = 0; k < count; ++k)
        t->size.append(fixedSize ? fixedSize : be32(sz, int(12 + 4 * k)));

    const Box *offsets = stco ? stco : co64;
    const int width = stco ? 4 : 8;
    if (!fits(offsets, 8) || !fits(offsets, 8 + qint64(width) * be32(offsets->payload, 4)))
        return false;
    const int chunks = int(be32(offsets->payload, 4));
    if (!fits(stsc, 8) || !fits(stsc, 8 + 12 * qint64(be32(stsc->payload, 4))))
        return false;
    const int runs = int(be32(stsc->payload, 4));
    int run = 0;
    int sample = 0;
    for (int c = 0; c < chunks && runs > 0; ++c) {
        while (run + 1 < runs && be32(stsc->payload, 8 + 12 * (run + 1)) <= quint32(c + 1))
            ++run;
        const quint32 perChunk = be32(stsc->payload, 8 + 12 * run + 4);
        const quint32 description = be32(stsc->payload, 8 + 12 * run + 8);
        qint64 at = width == 4 ? be32(offsets->payload, 8 + 4 * c)
                               : qint64(be64(offsets->payload, 8 + 8 * c));
        for (quint32 s = 0; s < perChunk && sample < count; ++s, ++sample) {
            t->offset.append(at);
            t->description.append(description);
            t->chunkStart.append(s == 0);
            at += t->size[sample];
        }
    }
    if (sample != count) {
        *error = QStringLiteral("a sample table whose chunks do not hold its samples");
        return false;
    }

    if (!fits(stts, 8) || !fits(stts, 8 + 8 * qint64(be32(stts->payload, 4))))
        return false;
    qint64 ticks = 0;
    for (int e = 0, n = int(be32(stts->payload, 4)); e < n && t->time.size() < count; ++e) {
        const quint32 repeat = be32(stts->payload, 8 + 8 * e);
        const quint32 delta = be32(stts->payload, 12 + 8 * e);
        for (quint32 k = 0; k < repeat && t->time.size() < count; ++k, ticks += delta)
            t->time.append(double(ticks) / t->timescale);
    }
    while (t->time.size() < count)
        t->time.append(double(ticks) / t->timescale);
    return true;
}

QByteArray ftyp(bool mov)
{
    QByteArray b(mov ? "qt  " : "isom");
    putBe32(b, 0x200);
    b += mov ? QByteArray("qt  ") : QByteArray("isomiso2avc1mp41");
    return box("ftyp", b);
}

QByteArray matrix()
{
    QByteArray b;
    for (quint32 v : {0x10000u, 0u, 0u, 0u, 0x10000u, 0u, 0u, 0u, 0x40000000u})
        putBe32(b, v);
    return b;
}

QByteArray handlerBox(bool mov, const char *component, const QByteArray &type,
                      const QByteArray &name)
{
    QByteArray b(mov ? component : "\0\0\0\0", 4);
    b += type;
    b += QByteArray(12, '\0');
    if (mov)
        b += char(name.size()) + name; // a counted string in QuickTime
    else
        b += name + '\0';
    return fullBox("hdlr", 0, 0, b);
}

// Everything about the placement, worked out before a byte is written.
struct Layout
{
    qint64 oldStart = 0; // the clip's media data
    qint64 oldEnd = 0;
    QVector<qint64> at;    // old offset each item goes in front of
    QVector<qint64> added; // bytes of the items before item k
    qint64 pad = 0;

    qint64 dataStart = 0; // the output's media data

    qint64 itemsBefore(qint64 offset) const
    {
        const int k = int(std::upper_bound(at.begin(), at.end(), offset) - at.begin());
        return added[k];
    }
    qint64 moved(qint64 offset) const
    {
        return dataStart + pad + (offset - oldStart) + itemsBefore(offset);
    }
    qint64 item(int k) const { return dataStart + pad + (at[k] - oldStart) + added[k]; }
};

QByteArray chunkOffsets(const QVector<qint64> &offsets, bool wide)
{
    QByteArray b;
    putBe32(b, quint32(offsets.size()));
    for (qint64 o : offsets) {
        if (wide)
            putBe64(b, quint64(o));
        else
            putBe32(b, quint32(o));
    }
    return fullBox(wide ? "co64" : "stco", 0, 0, b).mid(8);
}

// The existing track's chunks split wherever an item now lies between two
// of its samples, at their new offsets.
void moveTrack(Box &trak, const Table &t, const Layout &layout, bool wide)
{
    Box *stbl = child(child(child(&trak, "mdia"), "minf"), "stbl");
    QVector<qint64> offsets;
    QByteArray runs;
    int runCount = 0;
    quint32 lastPerChunk = 0;
    quint32 lastDescription = 0;
    QVector<quint32> perChunk;
    QVector<quint32> description;
    for (int s = 0; s < t.offset.size(); ++s) {
        const bool split = s == 0 || t.chunkStart[s] ||
                           layout.itemsBefore(t.offset[s]) != layout.itemsBefore(t.offset[s - 1]);
        if (split) {
            offsets.append(layout.moved(t.offset[s]));
            perChunk.append(0);
            description.append(t.description[s]);
        }
        ++perChunk.last();
    }
    for (int c = 0; c < perChunk.size(); ++c) {
        if (c > 0 && perChunk[c] == lastPerChunk && description[c] == lastDescription)
            continue;
        putBe32(runs, quint32(c + 1));
        putBe32(runs, perChunk[c]);
        putBe32(runs, description[c]);
        lastPerChunk = perChunk[c];
        lastDescription = description[c];
        ++runCount;
    }
    for (Box &b : stbl->children) {
        if (b.type == "stsc") {
            b.payload = QByteArray(4, '\0') + be32Bytes(quint32(runCount)) + runs;
        } else if (b.type == "stco" || b.type == "co64") {
            b.type = wide ? "co64" : "stco";
            b.payload = chunkOffsets(offsets, wide);
        }
    }
}

struct Context
{
    const Options &options;
    const Plan &plan;
    bool mov = false;
    quint32 movieTimescale = 1000;
    quint32 created = 0; // QuickTime time of the first fix
};

QByteArray newTrak(const Context &cx, quint32 id, const Layout &layout, bool wide)
{
    const Plan &plan = cx.plan;
    const int n = plan.items.size();
    const quint32 scale = 1000;
    QByteArray stts;
    QByteArray sizes;
    QVector<qint64> offsets;
    quint64 mediaTicks = 0;
    int runs = 0;
    for (int k = 0; k < n; ++k) {
        const quint32 delta =
            k + 1 < n ? quint32(plan.items[k + 1].second - plan.items[k].second) * scale : scale;
        mediaTicks += delta;
        if (runs > 0 && be32(stts, stts.size() - 4) == delta) {
            setBe32(stts, stts.size() - 8, be32(stts, stts.size() - 8) + 1);
        } else {
            putBe32(stts, 1);
            putBe32(stts, delta);
            ++runs;
        }
        putBe32(sizes, quint32(plan.items[k].bytes.size()));
        offsets.append(layout.item(k));
    }
    const quint64 leading = n ? quint64(plan.items.first().second) * scale : 0;
    const auto movie = [&](quint64 ticks) { return quint32(ticks * cx.movieTimescale / scale); };

    QByteArray tkhd;
    putBe32(tkhd, cx.created);
    putBe32(tkhd, cx.created);
    putBe32(tkhd, id);
    putBe32(tkhd, 0);
    putBe32(tkhd, movie(leading + mediaTicks));
    tkhd += QByteArray(8 + 2 + 2 + 2 + 2, '\0');
    tkhd += matrix();
    tkhd += QByteArray(8, '\0');

    QByteArray edts;
    if (leading) {
        // the track starts later than the video: an empty edit first
        QByteArray elst;
        putBe32(elst, 2);
        putBe32(elst, movie(leading));
        putBe32(elst, 0xffffffff);
        putBe32(elst, 0x10000);
        putBe32(elst, movie(mediaTicks));
        putBe32(elst, 0);
        putBe32(elst, 0x10000);
        edts = box("edts", fullBox("elst", 0, 0, elst));
    }

    QByteArray mdhd;
    putBe32(mdhd, cx.created);
    putBe32(mdhd, cx.created);
    putBe32(mdhd, scale);
    putBe32(mdhd, quint32(mediaTicks));
    putBe16(mdhd, cx.mov ? 0x7fff : 0x55c4); // no language / "und"
    putBe16(mdhd, 0);

    QByteArray header;
    if (cx.mov) {
        QByteArray gmin;
        putBe16(gmin, 0x40);
        for (int k = 0; k < 3; ++k)
            putBe16(gmin, 0x8000);
        putBe32(gmin, 0);
        header = box("gmhd", fullBox("gmin", 0, 0, gmin)) +
                 handlerBox(true, "dhlr", "alis", "DataHandler");
    } else {
        header = fullBox("nmhd", 0, 0, QByteArray());
    }
    const QByteArray dinf =
        box("dinf", fullBox("dref", 0, 0,
                            be32Bytes(1) + fullBox(cx.mov ? "alis" : "url ", 0, 1, QByteArray())));

    QByteArray stsc;
    putBe32(stsc, 1);
    putBe32(stsc, 1);
    putBe32(stsc, 1);
    putBe32(stsc, 1);
    QByteArray stsz;
    putBe32(stsz, 0);
    putBe32(stsz, quint32(n));
    const QByteArray offsetBox = box(wide ? "co64" : "stco", chunkOffsets(offsets, wide));
    const QByteArray stbl = box("stbl", fullBox("stsd", 0, 0, be32Bytes(1) + plan.sampleEntry) +
                                            fullBox("stts", 0, 0, be32Bytes(quint32(runs)) + stts) +
                                            fullBox("stsc", 0, 0, stsc) +
                                            fullBox("stsz", 0, 0, stsz + sizes) + offsetBox);
    const QByteArray minf = box("minf", header + dinf + stbl);
    const QByteArray mdia =
        box("mdia", fullBox("mdhd", 0, 0, mdhd) +
                        handlerBox(cx.mov, "mhlr", plan.handler, plan.handlerName) + minf);
    return fullBox("tkhd", 0, 1, tkhd) + edts + mdia;
}

QByteArray gpsIndex(const Plan &plan, const Layout &layout, QString *error)
{
    QByteArray b;
    putBe32(b, quint32(plan.items.size()));
    for (int k = 0; k < plan.items.size(); ++k) {
        const qint64 end = layout.item(k) + plan.items[k].bytes.size();
        if (end > 0xffffffffLL) {
            *error =
                QStringLiteral("the gps index holds 32-bit offsets: the blocks lie past 4 GiB");
            return QByteArray();
        }
        putBe32(b, quint32(layout.item(k)));
        putBe32(b, quint32(plan.items[k].bytes.size()));
    }
    return b;
}

QByteArray buildMoov(const Context &cx, Box moov, const QVector<Table> &tables,
                     const Layout &layout, bool wide, QString *error)
{
    const Plan &plan = cx.plan;
    int lastTrak = -1;
    quint32 maxId = 0;
    int trakIndex = 0;
    for (int k = 0; k < moov.children.size(); ++k) {
        Box &b = moov.children[k];
        if (b.type != "trak")
            continue;
        lastTrak = k;
        Box *tkhd = child(&b, "tkhd");
        if (tkhd && tkhd->payload.size() >= 24)
            maxId = std::max(maxId, be32(tkhd->payload, tkhd->payload.at(0) == 1 ? 20 : 12));
        moveTrack(b, tables[trakIndex++], layout, wide);
    }
    Box *mvhd = child(&moov, "mvhd");
    const int tail = mvhd->payload.size() - 4;
    const quint32 nextId = be32(mvhd->payload, tail);
    if (nextId > 0)
        maxId = std::max(maxId, nextId - 1);
    QVector<Box> added;
    if (plan.kind == Plan::Track) {
        Box trak;
        trak.type = "trak";
        trak.large = cx.options.largeSizes;
        trak.payload = newTrak(cx, maxId + 1, layout, wide);
        added.append(trak);
        ++maxId;
    }
    if (plan.kind == Plan::Blocks && plan.index) {
        Box gps;
        gps.type = "gps ";
        gps.large = cx.options.largeSizes;
        // version and flags, then the entries
        gps.payload = QByteArray(4, '\0') + gpsIndex(plan, layout, error);
        if (!error->isEmpty())
            return QByteArray();
        added.append(gps);
    }
    setBe32(mvhd->payload, tail, maxId + 1);
    // cameras set the movie's creation time; exiftool's estimates start there
    if (mvhd->payload.at(0) == 1) {
        setBe64(mvhd->payload, 4, cx.created);
        setBe64(mvhd->payload, 12, cx.created);
    } else {
        setBe32(mvhd->payload, 4, cx.created);
        setBe32(mvhd->payload, 8, cx.created);
    }
    // before udta: exiftool takes the gps index only outside other handlers
    for (int k = 0; k < added.size(); ++k)
        moov.children.insert(lastTrak + 1 + k, added[k]);
    return serialize(moov);
}

struct TopBox
{
    QByteArray type;
    qint64 at;
    int head;
    qint64 size;
};

bool fail(QString *error, const QString &message)
{
    *error = message;
    return false;
}

bool writeAll(QFile &f, const QByteArray &b)
{
    return f.write(b) == b.size();
}

} // namespace

bool write(const QString &clip, const QString &out, const QVector<trackgen::Fix> &fixes,
           const Options &options, QString *errorOut)
{
    QString scratch;
    QString *error = errorOut ? errorOut : &scratch;
    error->clear();
    if (options.container != "mp4" && options.container != "mov")
        return fail(error, QStringLiteral("container must be mp4 or mov"));
    if (options.padBytes < 0)
        return fail(error, QStringLiteral("negative padding"));
    Plan plan;
    if (!makePlan(fixes, options, &plan, error))
        return false;

    QFile in(clip);
    if (!in.open(QIODevice::ReadOnly))
        return fail(error, QStringLiteral("cannot read %1").arg(clip));
    if (in.size() > maxClipBytes)
        return fail(error, QStringLiteral("the clip is larger than 1 GiB"));
    const QByteArray data = in.readAll();
    in.close();

    QVector<TopBox> top;
    for (qint64 at = 0; at < data.size();) {
        if (data.size() - at < 8)
            return fail(error, QStringLiteral("truncated box header at %1").arg(at));
        qint64 size = be32(data, int(at));
        int head = 8;
        if (size == 1 && data.size() - at >= 16) {
            size = qint64(be64(data, int(at) + 8));
            head = 16;
        } else if (size == 0) {
            size = data.size() - at;
        }
        if (size < head || size > data.size() - at)
            return fail(error, QStringLiteral("bad box size at %1").arg(at));
        top.append({data.mid(int(at) + 4, 4), at, head, size});
        at += size;
    }
    const auto only = [&](const char *type) -> const TopBox * {
        const TopBox *found = nullptr;
        for (const TopBox &b : top) {
            if (b.type == type) {
                if (found)
                    return nullptr;
                found = &b;
            }
        }
        return found;
    };
    const TopBox *moovTop = only("moov");
    const TopBox *mdatTop = only("mdat");
    if (!moovTop || !mdatTop)
        return fail(error, QStringLiteral("the clip needs exactly one moov and one mdat"));

    QVector<Box> parsed;
    if (!parseBoxes(data, int(moovTop->at), int(moovTop->at + moovTop->size), &parsed, error))
        return false;
    const Box moov = parsed.first();
    Box work = moov;
    if (!child(&work, "mvhd") || child(&work, "mvhd")->payload.size() < 100)
        return fail(error, QStringLiteral("the clip has no movie header"));
    QVector<Table> tables;
    for (Box &b : work.children) {
        if (b.type != "trak")
            continue;
        Table t;
        if (!readTable(b, &t, error))
            return false;
        tables.append(t);
    }

    Layout layout;
    layout.oldStart = mdatTop->at + mdatTop->head;
    layout.oldEnd = mdatTop->at + mdatTop->size;
    // The hole goes before the data, or after it where the data must stay
    // below 4 GiB (a Novatek index holds 32-bit offsets).
    layout.pad = options.padAtEnd ? 0 : options.padBytes;
    const qint64 tailPad = options.padAtEnd ? options.padBytes : 0;
    // item for second s goes in front of the first sample (in file order)
    // that plays at s or later
    QVector<QPair<double, qint64>> byTime;
    for (const Table &t : tables) {
        for (int s = 0; s < t.offset.size(); ++s) {
            if (t.offset[s] < layout.oldStart || t.offset[s] + t.size[s] > layout.oldEnd)
                return fail(error, QStringLiteral("a sample lies outside the media data"));
            byTime.append({t.time[s], t.offset[s]});
        }
    }
    std::sort(byTime.begin(), byTime.end());
    QVector<qint64> earliestFrom(byTime.size() + 1, layout.oldEnd);
    for (int k = byTime.size() - 1; k >= 0; --k)
        earliestFrom[k] = std::min(earliestFrom[k + 1], byTime[k].second);
    qint64 itemBytes = 0;
    layout.added.append(0);
    for (const Plan::Item &item : plan.items) {
        const auto from = std::lower_bound(byTime.begin(), byTime.end(),
                                           qMakePair(item.second - 1e-6, qint64(-1)));
        const qint64 at = earliestFrom[int(from - byTime.begin())];
        layout.at.append(layout.at.isEmpty() ? at : std::max(at, layout.at.last()));
        itemBytes += item.bytes.size();
        layout.added.append(itemBytes);
    }

    Context cx{options, plan};
    cx.mov = options.container == "mov";
    {
        const QByteArray &m = child(&work, "mvhd")->payload;
        cx.movieTimescale = be32(m, m.at(0) == 1 ? 20 : 12);
        if (!cx.movieTimescale)
            cx.movieTimescale = 1000;
        const QDateTime first(QDate::fromString(options.date, Qt::ISODate), QTime(0, 0), Qt::UTC);
        cx.created =
            quint32(quint64(first.toSecsSinceEpoch() + fixes.first().secondOfDay) + quickTimeEpoch);
    }

    const QByteArray ftypBytes = ftyp(cx.mov);
    const qint64 payload = layout.pad + (layout.oldEnd - layout.oldStart) + itemBytes + tailPad;
    const bool largeMdat = options.largeSizes || payload + 8 > 0xffffffffLL;
    const int mdatHead = largeMdat ? 16 : 8;
    bool wide = options.co64;
    QByteArray moovBytes;
    for (int pass = 0; pass < 3; ++pass) {
        layout.dataStart = 0;
        QString ignored; // offsets are not final yet
        const qint64 moovSize = buildMoov(cx, moov, tables, layout, wide, &ignored).size();
        layout.dataStart = ftypBytes.size() + plan.before.size() +
                           (options.moovFirst ? plan.beforeMoov.size() + moovSize : 0) + mdatHead;
        if (!wide && layout.dataStart + payload > 0xffffffffLL) {
            wide = true; // chunk offsets past 4 GiB
            continue;
        }
        moovBytes = buildMoov(cx, moov, tables, layout, wide, error);
        if (!error->isEmpty())
            return false;
        if (moovBytes.size() != moovSize)
            return fail(error, QStringLiteral("the movie box changed size"));
        break;
    }

    QFile f(out);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return fail(error, QStringLiteral("cannot write %1").arg(out));
    bool ok = writeAll(f, ftypBytes) && writeAll(f, plan.before);
    if (options.moovFirst)
        ok = ok && writeAll(f, plan.beforeMoov) && writeAll(f, moovBytes);
    QByteArray mdatHeader;
    if (largeMdat) {
        putBe32(mdatHeader, 1);
        mdatHeader += "mdat";
        putBe64(mdatHeader, quint64(payload + 16));
    } else {
        putBe32(mdatHeader, quint32(payload + 8));
        mdatHeader += "mdat";
    }
    ok = ok && writeAll(f, mdatHeader);
    // a hole: nothing is written, the file system keeps it sparse
    ok = ok && f.seek(f.pos() + layout.pad);
    qint64 cursor = layout.oldStart;
    for (int k = 0; ok && k < plan.items.size(); ++k) {
        ok = writeAll(f, data.mid(int(cursor), int(layout.at[k] - cursor))) &&
             writeAll(f, plan.items[k].bytes);
        cursor = layout.at[k];
    }
    ok = ok && writeAll(f, data.mid(int(cursor), int(layout.oldEnd - cursor)));
    ok = ok && f.seek(f.pos() + tailPad);
    if (!options.moovFirst)
        ok = ok && writeAll(f, plan.beforeMoov) && writeAll(f, moovBytes);
    const qint64 total = f.pos();
    if (ok && f.size() < total)
        ok = f.resize(total);
    f.close();
    if (!ok || f.error() != QFileDevice::NoError)
        return fail(error, QStringLiteral("cannot write %1: %2").arg(out, f.errorString()));

    if (!plan.sideSuffix.isEmpty()) {
        const QFileInfo info(out);
        QFile side(info.dir().filePath(info.completeBaseName() + plan.sideSuffix));
        if (!side.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            side.write(plan.sideText) != plan.sideText.size())
            return fail(error, QStringLiteral("cannot write %1").arg(side.fileName()));
    }
    return true;
}

bool make(const QString &out, const QVector<trackgen::Fix> &fixes, const Options &options,
          QString *error)
{
    const QString clip = out + (options.container == "mov" ? ".clip.mov" : ".clip.mp4");
    if (!trackgen::makeClip(clip, fixes.size(), QString(), error))
        return false;
    const bool ok = write(clip, out, fixes, options, error);
    QFile::remove(clip);
    return ok;
}

} // namespace embedgen
