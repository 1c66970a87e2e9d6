#include "cammtrackmark.h"

#include <QFile>
#include <QtEndian>

namespace videoexport {

namespace {

struct Span
{
    qint64 at = 0; // payload, relative to the buffer
    qint64 size = 0;
};

// The children of one box's payload, as [type, payload] spans.
template <typename F> void eachChild(const QByteArray &buf, Span parent, F visit)
{
    qint64 pos = parent.at;
    const qint64 end = parent.at + parent.size;
    while (pos + 8 <= end) {
        const auto *p = reinterpret_cast<const uchar *>(buf.constData() + pos);
        quint64 size = qFromBigEndian<quint32>(p);
        qint64 header = 8;
        if (size == 1 && pos + 16 <= end) {
            size = qFromBigEndian<quint64>(p + 8);
            header = 16;
        } else if (size == 0) {
            size = quint64(end - pos);
        }
        if (size < quint64(header) || size > quint64(end - pos))
            return;
        const QByteArray type = buf.mid(int(pos) + 4, 4);
        visit(type, Span{pos + header, qint64(size) - header});
        pos += qint64(size);
    }
}

Span child(const QByteArray &buf, Span parent, const char *type)
{
    Span found{-1, 0};
    eachChild(buf, parent, [&](const QByteArray &t, Span s) {
        if (found.at < 0 && t == type)
            found = s;
    });
    return found;
}

} // namespace

bool markCammTrack(const QString &path, QString *error)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadWrite)) {
        *error = QStringLiteral("cannot open %1 to name its track: %2").arg(path, f.errorString());
        return false;
    }
    // The top-level boxes, read by their headers only.
    qint64 pos = 0, moovAt = -1, moovSize = 0;
    const qint64 fileSize = f.size();
    while (pos + 8 <= fileSize && f.seek(pos)) {
        const QByteArray h = f.read(16);
        if (h.size() < 8)
            break;
        const auto *p = reinterpret_cast<const uchar *>(h.constData());
        quint64 size = qFromBigEndian<quint32>(p);
        if (size == 1 && h.size() == 16)
            size = qFromBigEndian<quint64>(p + 8);
        else if (size == 0)
            size = quint64(fileSize - pos);
        if (size < 8)
            break;
        if (h.mid(4, 4) == "moov") {
            moovAt = pos;
            moovSize = qint64(size);
            break;
        }
        pos += qint64(size);
    }
    if (moovAt < 0 || moovSize > 256 * 1024 * 1024) {
        *error = QStringLiteral("%1 has no movie header to name its track in").arg(path);
        return false;
    }
    f.seek(moovAt);
    QByteArray moov = f.read(moovSize);
    const qint64 header = qFromBigEndian<quint32>(moov.constData()) == 1 ? 16 : 8;

    bool marked = false;
    eachChild(moov, Span{header, moovSize - header}, [&](const QByteArray &type, Span trak) {
        if (marked || type != "trak")
            return;
        const Span mdia = child(moov, trak, "mdia");
        const Span stsd = child(moov, child(moov, child(moov, mdia, "minf"), "stbl"), "stsd");
        // stsd: version/flags and an entry count, then the entries.
        if (mdia.at < 0 || stsd.at < 0 || stsd.size < 16 ||
            moov.mid(int(stsd.at) + 12, 4) != "gpmd")
            return;
        moov.replace(int(stsd.at) + 12, 4, "camm");
        // hdlr: version/flags, pre-defined, handler type, 12 reserved, name.
        const Span hdlr = child(moov, mdia, "hdlr");
        if (hdlr.at >= 0 && hdlr.size > 24) {
            const int nameAt = int(hdlr.at) + 24;
            const int room = int(hdlr.size) - 24;
            QByteArray name("GPS track"); // what exiftool and players list
            name = name.left(room).leftJustified(room, '\0');
            moov.replace(nameAt, room, name);
        }
        marked = true;
    });
    if (!marked) {
        *error = QStringLiteral("%1 holds no metadata track to name").arg(path);
        return false;
    }
    if (!f.seek(moovAt) || f.write(moov) != moov.size() || !f.flush()) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, f.errorString());
        return false;
    }
    return true;
}

} // namespace videoexport
