#include "novatekreader.h"

#include "container.h"
#include "nmeasentence.h"
#include "tracklimits.h"
#include "videoinfoparse.h"

#include <QDate>
#include <QDateTime>
#include <QDebug>
#include <QRegularExpression>
#include <cmath>
#include <cstring>

namespace embedded {

namespace {

constexpr std::uint32_t freeType = fourcc("free");
constexpr std::uint32_t gpsType = fourcc("GPS ");

bool isBlockHeader(const QByteArray &data, int at = 0)
{
    Bytes b(data);
    return b.u32(at + 4) == freeType && b.u32(at + 8) == gpsType && b.ok;
}

bool isRef(char c, char positive, char negative)
{
    return c == positive || c == negative;
}

qint64 utcMs(std::uint32_t year, std::uint32_t month, std::uint32_t day, std::uint32_t hour,
             std::uint32_t minute, std::uint32_t second)
{
    if (year < 100)
        year += 2000;
    if (year > 9999 || month > 12 || day > 31 || hour > 23 || minute > 59 || second > 60)
        return -1;
    const QDate date{int(year), int(month), int(day)};
    const QTime time{int(hour), int(minute), int(qMin(second, 59u))};
    if (!date.isValid() || !time.isValid())
        return -1;
    return QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch();
}

// Status, hemispheres and four floats as the record variants share them.
void readFloats(Bytes &b, int status, int floats, Fix &fix)
{
    const char stat = char(b.u8(status));
    const char ns = char(b.u8(status + 1));
    const char ew = char(b.u8(status + 2));
    const double lat = VideoInfoParse::DDTran(double(b.f32le(floats)));
    const double lon = VideoInfoParse::DDTran(double(b.f32le(floats + 4)));
    fix.latitude = ns == 'S' ? -lat : lat;
    fix.longitude = ew == 'W' ? -lon : lon;
    fix.speedKmh = double(b.f32le(floats + 8)) * kmhPerKnot;
    fix.course = double(b.f32le(floats + 12));
    fix.valid = stat == 'A' && isRef(ns, 'N', 'S') && isRef(ew, 'E', 'W') && b.ok;
}

} // namespace

const char *NovatekReader::description() const
{
    return "Novatek freeGPS blocks, with or without the moov/gps index (classic and A119 v3 "
           "records): Viofo, Vantrue, Kenwood, Transcend, Street Guardian, Nextbase 512G, most "
           "unbranded dash cams";
}

NovatekReader::Block NovatekReader::decode(const QByteArray &block, Fix &fix)
{
    if (!isBlockHeader(block))
        return Block::Unknown;
    static const char xorMark[] = "\xaa\xaa\xf2\xe1\xf0\xee\x54\x54";
    if (block.size() >= 26 && std::memcmp(block.constData() + 18, xorMark, 8) == 0)
        return Block::Encrypted;
    if (block.contains("LIGOGPSINFO"))
        return Block::Encrypted;

    Bytes b(block);
    // Nextbase 512G: camera time as text at 52, then NMEA sentences.
    static const QRegularExpression cameraTime(QStringLiteral("^\\d{14}"));
    const QString text = QString::fromLatin1(block.mid(52, 14));
    if (cameraTime.match(text).hasMatch()) {
        const QString body = QString::fromLatin1(block.mid(52)).replace(QChar(0), QChar('\n'));
        bool any = false;
        for (const QString &s : nmea::sentences(body)) {
            if (nmea::readRmc(s, fix, nmea::Checksum::IfPresent))
                any = true;
            else
                nmea::readGga(s, fix, nmea::Checksum::IfPresent);
        }
        return any ? Block::Fix : Block::Unknown;
    }
    // A119 v3: the clock at 0x10, status at 0x28, floats at 0x2C.
    const char v3Status = char(b.u8(0x28));
    if (b.u8(0x25) == 0 && b.u8(0x26) == 0 && b.u8(0x27) == 0 &&
        (v3Status == 'A' || v3Status == 'V')) {
        fix.clockMs = utcMs(b.u32le(0x1C), b.u32le(0x20), b.u32le(0x24), b.u32le(0x10),
                            b.u32le(0x14), b.u32le(0x18));
        readFloats(b, 0x28, 0x2C, fix);
        const std::uint32_t a0 = b.u32le(0x3C), a1 = b.u32le(0x40), a2 = b.u32le(0x44);
        // All zero, or 1..6 as 16-bit counts, is no reading.
        if (b.ok && (a0 | a1 | a2) != 0 && !(a0 == 0x20001 && a1 == 0x40003 && a2 == 0x60005)) {
            fix.accel[0] = std::int32_t(a0) / 256.0;
            fix.accel[1] = std::int32_t(a1) / 256.0;
            fix.accel[2] = std::int32_t(a2) / 256.0;
        }
        return b.ok ? Block::Fix : Block::Unknown;
    }
    // Classic (A119S and most others): the clock at 0x30, status at 0x48.
    const char status = char(b.u8(0x48));
    if (status == 'A' || status == 'V') {
        fix.clockMs = utcMs(b.u32le(0x3C), b.u32le(0x40), b.u32le(0x44), b.u32le(0x30),
                            b.u32le(0x34), b.u32le(0x38));
        readFloats(b, 0x48, 0x4C, fix);
        return b.ok ? Block::Fix : Block::Unknown;
    }
    return Block::Unknown;
}

Outcome NovatekReader::read(Container &file, Telemetry &out)
{
    out.source = source();
    out.clock = Clock::Utc;
    BoxWalker &io = file.io;

    // Block places: from the index, or found in the media data.
    QVector<QPair<qint64, qint64>> places; // offset, size
    const Box index = file.inMoov(fourcc("gps "));
    if (index.type) {
        QByteArray data;
        if (!io.payload(index, data)) {
            out.error = io.error();
            return Outcome::Refused;
        }
        Bytes b(data, index.payloadOffset());
        const std::uint32_t count = b.u32(4);
        if (!b.ok || qint64(count) * 8 > data.size() - 8) {
            out.error = QStringLiteral("GPS index of %1 entries does not fit its box at offset %2")
                            .arg(count)
                            .arg(index.offset);
            return Outcome::Refused;
        }
        if (count > std::uint32_t(tracklimits::maxSamples)) {
            out.error = QStringLiteral("GPS index of %1 entries at offset %2: more seconds than a "
                                       "track holds")
                            .arg(count)
                            .arg(index.offset);
            return Outcome::Refused;
        }
        places.reserve(int(count));
        for (std::uint32_t i = 0; i < count; ++i)
            places.append({b.u32(8 + 8 * i), b.u32(12 + 8 * i)});
    } else {
        // Blocks sit among the frames, in every media data box of the file
        // (some cameras write a second one after moov). The scan reads each
        // in slices, gives up on one where no block has turned up for
        // scanWindow bytes, and skips each block it finds.
        constexpr qint64 slice = 1024 * 1024;
        static const QByteArray mark("freeGPS ");
        QByteArray buffer;
        for (const Box &mdat : qAsConst(file.top)) {
            if (mdat.type != fourcc("mdat") || places.size() > tracklimits::maxSamples)
                continue;
            qint64 pos = mdat.payloadOffset();
            qint64 lastFound = pos;
            while (pos < mdat.end() && pos - lastFound < scanWindow) {
                const qint64 length = qMin(slice + 12, mdat.end() - pos);
                if (length < 12 || !io.read(pos, length, buffer))
                    break;
                int at = buffer.indexOf(mark, 4);
                qint64 next = pos + qMax<qint64>(1, length - 11);
                while (at >= 4) {
                    const qint64 blockAt = pos + at - 4;
                    const qint64 size = Bytes(buffer).u32(at - 4);
                    if (size >= 16 && size <= mdat.end() - blockAt) {
                        places.append({blockAt, size});
                        lastFound = blockAt;
                        next = blockAt + size;
                        // The blocks after it in this slice, without reading it again.
                        const qint64 from = next - pos + 4;
                        at = from < buffer.size() ? buffer.indexOf(mark, int(from)) : -1;
                        continue;
                    }
                    at = buffer.indexOf(mark, at + 1);
                }
                pos = next;
                if (places.size() > tracklimits::maxSamples)
                    break;
            }
        }
        if (places.isEmpty())
            return Outcome::Absent;
        if (places.size() > tracklimits::maxSamples) {
            out.error = QStringLiteral("more than %1 freeGPS blocks (the first at offset %2): more "
                                       "seconds than a track holds")
                            .arg(tracklimits::maxSamples)
                            .arg(places.first().first);
            return Outcome::Refused;
        }
    }

    out.fixes.reserve(out.fixes.size() + places.size());
    int encrypted = 0, unknown = 0;
    qint64 firstBad = -1;
    QByteArray block;
    for (int i = 0; i < places.size(); ++i) {
        const qint64 offset = places[i].first;
        const qint64 size = places[i].second;
        Fix fix;
        fix.at = i;
        Block kind = Block::Unknown;
        if (size >= 16 && io.read(offset, qMin<qint64>(size, recordBytes), block))
            kind = decode(block, fix);
        if (kind == Block::Fix) {
            out.fixes.append(fix);
            continue;
        }
        if (firstBad < 0)
            firstBad = offset;
        if (kind == Block::Encrypted)
            ++encrypted;
        else
            ++unknown;
        fix.valid = false;     // whatever a record cut short left in it
        out.fixes.append(fix); // the second is kept, with no fix
    }
    if (encrypted > 0 && encrypted + unknown == places.size()) {
        out.error = QStringLiteral("GPS data present but encrypted (freeGPS block at offset %1)")
                        .arg(firstBad);
        return Outcome::Refused;
    }
    if (unknown == places.size()) {
        out.error = QStringLiteral("%1 freeGPS blocks, none in a record layout that is read (first "
                                   "at offset %2)")
                        .arg(places.size())
                        .arg(firstBad);
        return Outcome::Refused;
    }
    if (unknown + encrypted > 0)
        qWarning().noquote() << QStringLiteral(
                                    "%1 of %2 freeGPS blocks unreadable, the first at offset %3")
                                    .arg(unknown + encrypted)
                                    .arg(places.size())
                                    .arg(firstBad);

    // One block a second is the camera's rhythm; where blocks are missing,
    // the fixes' own clock says how many seconds passed, and every later
    // block moves on by as many.
    const Fix *anchor = nullptr;
    double shift = 0.0;
    for (Fix &f : out.fixes) {
        f.at += shift;
        if (!f.valid || f.clockMs < 0)
            continue;
        if (!anchor) {
            anchor = &f;
            continue;
        }
        const double byClock =
            anchor->at + std::round(double(f.clockMs - anchor->clockMs) / 1000.0);
        if (byClock > f.at + 0.5) {
            shift += byClock - f.at;
            f.at = byClock;
        }
    }
    return Outcome::Read;
}

} // namespace embedded
