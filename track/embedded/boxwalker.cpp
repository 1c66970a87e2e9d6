#include "boxwalker.h"

#include <cstring>

namespace embedded {

QString fourccText(std::uint32_t type)
{
    QString s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = char((type >> shift) & 0xFF);
        s += (c >= 0x20 && c < 0x7F) ? QChar(c) : QChar('?');
    }
    return s;
}

bool BoxWalker::open(const QString &path)
{
    filePath = path;
    file.setFileName(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return fail(0, QStringLiteral("cannot open: %1").arg(file.errorString()));
    size = file.size();
    return true;
}

bool BoxWalker::fail(qint64 offset, const QString &what)
{
    lastError = QStringLiteral("%1 at offset %2").arg(what).arg(offset);
    return false;
}

bool BoxWalker::children(qint64 begin, qint64 end, QVector<Box> &out)
{
    out.clear();
    end = qMin(end, size);
    qint64 pos = begin;
    while (pos < end) {
        if (++headersRead > maxHeadersPerFile)
            return fail(
                pos, QStringLiteral("more than %1 box headers in the file").arg(maxHeadersPerFile));
        if (out.size() >= maxBoxesPerLevel)
            return fail(pos,
                        QStringLiteral("more than %1 boxes in one level").arg(maxBoxesPerLevel));
        if (end - pos < 8) {
            // Some writers pad a level with a few zero bytes.
            QByteArray tail;
            if (read(pos, end - pos, tail) && tail.count('\0') == tail.size())
                return true;
            return fail(pos, QStringLiteral("box header cut short"));
        }
        QByteArray header;
        if (!read(pos, qMin<qint64>(16, end - pos), header))
            return false;
        Bytes h(header, pos);
        Box box;
        box.offset = pos;
        box.type = h.u32(4);
        const std::uint32_t small = h.u32(0);
        if (small == 1) {
            const std::uint64_t large = h.u64(8);
            if (!h.ok)
                return fail(pos, QStringLiteral("64-bit box size cut short"));
            box.headerSize = 16;
            if (large > std::uint64_t(end - pos))
                return fail(pos, QStringLiteral("box '%1' of %2 bytes runs past its parent")
                                     .arg(fourccText(box.type))
                                     .arg(large));
            box.size = qint64(large);
        } else if (small == 0) {
            box.headerSize = 8; // to the end of the file (or of its parent)
            box.size = end - pos;
        } else {
            box.headerSize = 8;
            box.size = small;
            if (box.size > end - pos) {
                // A last box cut short by a camera that lost power: taken to
                // where the data ends, as players do.
                if (end == size)
                    box.size = end - pos;
                else
                    return fail(pos, QStringLiteral("box '%1' of %2 bytes runs past its parent")
                                         .arg(fourccText(box.type))
                                         .arg(small));
            }
        }
        if (box.size < box.headerSize)
            return fail(pos, QStringLiteral("box '%1' claims %2 bytes, less than its header")
                                 .arg(fourccText(box.type))
                                 .arg(box.size));
        out.append(box);
        pos += box.size;
    }
    return true;
}

Box BoxWalker::child(const Box &parent, std::uint32_t type, qint64 skip)
{
    QVector<Box> boxes;
    children(parent, boxes, skip); // a fault later in the level leaves the boxes before it
    for (const Box &b : qAsConst(boxes))
        if (b.type == type)
            return b;
    return Box{};
}

bool BoxWalker::read(qint64 offset, qint64 length, QByteArray &out)
{
    if (offset < 0 || length < 0 || offset > size || length > size - offset)
        return fail(offset, QStringLiteral("%1 bytes wanted past the end of the file").arg(length));
    if (length > maxRead)
        return fail(offset, QStringLiteral("%1 bytes wanted, more than %2 are ever read at once")
                                .arg(length)
                                .arg(maxRead));
    if (length <= pageBytes / 4) {
        const bool inPage =
            pageAt >= 0 && offset >= pageAt && offset + length <= pageAt + page.size();
        if (!inPage) {
            page.resize(int(qMin(pageBytes, size - offset)));
            pageAt = -1;
            if (!file.seek(offset) || file.read(page.data(), page.size()) != page.size())
                return fail(offset, QStringLiteral("read failed: %1").arg(file.errorString()));
            pageAt = offset;
        }
        out = page.mid(int(offset - pageAt), int(length));
        return true;
    }
    out.resize(int(length));
    if (!file.seek(offset) || file.read(out.data(), length) != length)
        return fail(offset, QStringLiteral("read failed: %1").arg(file.errorString()));
    return true;
}

const unsigned char *Bytes::at(int pos, int length)
{
    if (!has(pos, length)) {
        ok = false;
        return nullptr;
    }
    return reinterpret_cast<const unsigned char *>(d.constData()) + pos;
}

std::uint8_t Bytes::u8(int pos)
{
    const unsigned char *p = at(pos, 1);
    return p ? p[0] : 0;
}

std::uint16_t Bytes::u16(int pos)
{
    const unsigned char *p = at(pos, 2);
    return p ? std::uint16_t(p[0] << 8 | p[1]) : 0;
}

std::uint32_t Bytes::u32(int pos)
{
    const unsigned char *p = at(pos, 4);
    return p ? std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 |
                   p[3]
             : 0;
}

std::uint64_t Bytes::u64(int pos)
{
    const std::uint64_t high = u32(pos);
    return high << 32 | u32(pos + 4);
}

std::uint16_t Bytes::u16le(int pos)
{
    const unsigned char *p = at(pos, 2);
    return p ? std::uint16_t(p[1] << 8 | p[0]) : 0;
}

std::uint32_t Bytes::u32le(int pos)
{
    const unsigned char *p = at(pos, 4);
    return p ? std::uint32_t(p[3]) << 24 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[1]) << 8 |
                   p[0]
             : 0;
}

std::uint64_t Bytes::u64le(int pos)
{
    const std::uint64_t low = u32le(pos);
    return std::uint64_t(u32le(pos + 4)) << 32 | low;
}

float Bytes::f32le(int pos)
{
    const std::uint32_t bits = u32le(pos);
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

double Bytes::f64le(int pos)
{
    const std::uint64_t bits = u64le(pos);
    double f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

} // namespace embedded
