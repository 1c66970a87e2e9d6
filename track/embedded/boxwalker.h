#pragma once

// Walks the boxes of an MP4/MOV file by seeking: only box headers and the
// bytes a reader asks for are read, never the media data, so memory does not
// grow with the file.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QVector>
#include <cstdint>

namespace embedded {

constexpr std::uint32_t fourcc(const char (&s)[5])
{
    return std::uint32_t(std::uint8_t(s[0])) << 24 | std::uint32_t(std::uint8_t(s[1])) << 16 |
           std::uint32_t(std::uint8_t(s[2])) << 8 | std::uint32_t(std::uint8_t(s[3]));
}
QString fourccText(std::uint32_t type);

struct Box
{
    std::uint32_t type = 0;
    qint64 offset = 0;     // of the header
    qint64 headerSize = 0; // 8, or 16 with a 64-bit size
    qint64 size = 0;       // header included

    qint64 payloadOffset() const { return offset + headerSize; }
    qint64 payloadSize() const { return size - headerSize; }
    qint64 end() const { return offset + size; }
};

class BoxWalker
{
public:
    // Bounds that keep a hostile file from costing time or memory.
    static constexpr int maxBoxesPerLevel = 100000;
    // Box headers read in one file: a real one has a few thousand; a file
    // of empty boxes in every track would cost seconds.
    static constexpr qint64 maxHeadersPerFile = 1000000;
    static constexpr qint64 maxRead = 64 * 1024 * 1024;

    bool open(const QString &path);
    qint64 fileSize() const { return size; }
    const QString &path() const { return filePath; }

    // The boxes that tile [begin, end). False, with error(), when a header
    // is cut short, a size lies about the space around it, or there are
    // more than maxBoxesPerLevel of them; the boxes before the fault are
    // still in `out`.
    bool children(qint64 begin, qint64 end, QVector<Box> &out);
    bool children(const Box &parent, QVector<Box> &out, qint64 skip = 0)
    {
        return children(parent.payloadOffset() + skip, parent.end(), out);
    }
    // The first child of that type, or a box of type 0.
    Box child(const Box &parent, std::uint32_t type, qint64 skip = 0);

    // Exactly `length` bytes at `offset`, at most maxRead. False, with
    // error(), past the end of the file or over the bound.
    bool read(qint64 offset, qint64 length, QByteArray &out);
    bool payload(const Box &box, QByteArray &out)
    {
        return read(box.payloadOffset(), box.payloadSize(), out);
    }

    QString error() const { return lastError; }
    void clearError() { lastError.clear(); }
    // Sets the error (with the file offset) and returns false.
    bool fail(qint64 offset, const QString &what);

private:
    QFile file;
    QString filePath;
    qint64 size = 0;
    qint64 headersRead = 0;
    QString lastError;
    // Small reads (box headers, records) come from a page of the file read
    // ahead: the file is unbuffered, and a seek and a read for each of a
    // million headers cost seconds where system calls are dear.
    static constexpr qint64 pageBytes = 4096;
    QByteArray page;
    qint64 pageAt = -1;
};

// Big- and little-endian readers over a byte array, bounds-checked: a read
// past the end gives 0 and sets `ok` false, so decoders check once at the
// end of a record.
class Bytes
{
public:
    explicit Bytes(const QByteArray &data, qint64 base = 0) : d(data), base(base) {}
    std::uint8_t u8(int at);
    std::uint16_t u16(int at);
    std::uint32_t u32(int at);
    std::uint64_t u64(int at);
    std::uint16_t u16le(int at);
    std::uint32_t u32le(int at);
    std::uint64_t u64le(int at);
    float f32le(int at);
    double f64le(int at);
    bool has(int at, int length) const { return at >= 0 && length >= 0 && at <= d.size() - length; }
    int size() const { return d.size(); }
    const QByteArray &data() const { return d; }
    qint64 fileOffset(int at) const { return base + at; }
    bool ok = true;

private:
    const unsigned char *at(int pos, int length);
    const QByteArray &d;
    qint64 base;
};

} // namespace embedded
