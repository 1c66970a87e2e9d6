#include "simplereaders.h"

#include "container.h"
#include "gpstime.h"
#include "nmeasentence.h"
#include "tracklimits.h"
#include "videoinfoparse.h"

#include <QDateTime>
#include <QDebug>
#include <QRegularExpression>

namespace embedded {

QByteArray sampleText(const QByteArray &sample)
{
    Bytes b(sample);
    const int length = b.u16(0);
    if (b.ok && length == sample.size() - 2)
        return sample.mid(2);
    if (b.ok && length < sample.size() - 2)
        return sample.mid(2, length); // style boxes may follow the text
    return sample;
}

bool isTextTrack(const TrackInfo &t)
{
    return t.format == fourcc("tx3g") || t.format == fourcc("text") ||
           t.handler == fourcc("text") || t.handler == fourcc("sbtl") ||
           t.handler == fourcc("subt");
}

// ---- BlackVue ------------------------------------------------------------

const char *BlackVueReader::description() const
{
    return "BlackVue: NMEA lines with millisecond stamps in the free box (DR590 to DR970X)";
}

void BlackVueReader::decode(const QByteArray &lines, QVector<Fix> &fixes)
{
    static const QRegularExpression stamped(QStringLiteral("^\\[(\\d{10,16})\\](.*)$"));
    qint64 first = -1;
    // Line by line in place: split() would make an array a line, and a box of
    // line ends holds millions.
    for (int start = 0, end = 0; start < lines.size(); start = end + 1) {
        end = lines.indexOf('\n', start);
        if (end < 0)
            end = lines.size();
        // Too short for "[10 digits]", or longer than any sentence.
        if (end - start < 12 || end - start > tracklimits::maxLineChars)
            continue;
        const QByteArray raw = QByteArray::fromRawData(lines.constData() + start, end - start);
        const QRegularExpressionMatch m = stamped.match(QString::fromLatin1(raw).trimmed());
        if (!m.hasMatch())
            continue;
        const qint64 ms = m.capturedRef(1).toLongLong();
        Fix fix;
        const QString sentence = m.captured(2);
        if (nmea::readRmc(sentence, fix, nmea::Checksum::IfPresent)) {
            if (first < 0)
                first = ms;
            fix.at = double(ms - first) / 1000.0;
            fixes.append(fix);
            if (fixes.size() > 20 * tracklimits::maxSamples)
                return;
        } else if (!fixes.isEmpty() &&
                   std::abs(ms - first - qint64(fixes.last().at * 1000)) < 500) {
            nmea::readGga(sentence, fixes.last(), nmea::Checksum::IfPresent);
        }
    }
}

Outcome BlackVueReader::read(Container &file, Telemetry &out)
{
    out.source = source();
    out.clock = Clock::Utc;
    for (const Box &free : qAsConst(file.top)) {
        if (free.type != fourcc("free") || free.payloadSize() < 8)
            continue;
        QVector<Box> children;
        file.io.children(free, children); // other writers fill free boxes with anything
        for (const Box &c : qAsConst(children)) {
            if (c.type != fourcc("gps "))
                continue;
            QByteArray lines;
            if (!file.io.payload(c, lines)) {
                out.error = file.error();
                return Outcome::Refused;
            }
            decode(lines, out.fixes);
            if (out.fixes.isEmpty()) {
                out.error = QStringLiteral("BlackVue gps box at offset %1 holds no NMEA line")
                                .arg(c.offset);
                return Outcome::Refused;
            }
            return Outcome::Read;
        }
    }
    return Outcome::Absent;
}

// ---- CAMM ----------------------------------------------------------------

const char *CammReader::description() const
{
    return "Google CAMM metadata track, packets 5 and 6: Insta360 exports, some action cams";
}

bool CammReader::decode(const QByteArray &sample, double at, QVector<Fix> &fixes)
{
    // Packet sizes by type, the 4-byte header included: orientation (0),
    // exposure, gyro, acceleration, position (4), GPS (5, 6), magnetic
    // field. Those without a fix are stepped over by their sizes.
    static const int sizes[] = {16, 12, 16, 16, 16, 28, 60, 16};
    Bytes b(sample);
    int pos = 0;
    while (pos + 4 <= sample.size()) {
        const int type = b.u16le(pos + 2);
        if (type > 7 || pos + sizes[type] > sample.size())
            return false;
        if (type == 5 || type == 6) {
            Fix f;
            f.at = at;
            if (type == 5) {
                f.latitude = b.f64le(pos + 4);
                f.longitude = b.f64le(pos + 12);
                f.altitude = b.f64le(pos + 20);
                f.valid = true;
            } else {
                // As written: which clock it counts is decided for the
                // whole file by placeTimes().
                const double seconds = b.f64le(pos + 4);
                if (seconds > 0 && seconds < 1.0e6 * 86400)
                    f.clockMs = qint64(seconds * 1000.0);
                f.valid = b.u32le(pos + 12) >= 2;
                f.latitude = b.f64le(pos + 16);
                f.longitude = b.f64le(pos + 24);
                f.altitude = b.f32le(pos + 32);
                const double east = b.f32le(pos + 44), north = b.f32le(pos + 48);
                f.speedKmh = std::sqrt(east * east + north * north) * kmhPerMps;
                if (east != 0.0 || north != 0.0)
                    f.course = std::fmod(std::atan2(east, north) * 180.0 / M_PI + 360.0, 360.0);
            }
            if (fixes.size() < 20 * tracklimits::maxSamples)
                fixes.append(f);
        }
        pos += sizes[type];
    }
    return b.ok && pos == sample.size(); // bytes left over are a packet cut short
}

void CammReader::placeTimes(QVector<Fix> &fixes, qint64 creationTime)
{
    // The format counts GPS time (ahead of UTC by the leap seconds); some
    // writers put Unix time there. The reading nearer the file's own
    // creation time tells which; a fixed threshold would take every GPS
    // time after May 2024 for Unix time.
    qint64 first = -1;
    for (const Fix &f : fixes)
        if (f.clockMs > 0) {
            first = f.clockMs / 1000;
            break;
        }
    if (first < 0)
        return;
    const double asGps = gpstime::toUnix(double(first));
    bool unix;
    if (creationTime > 0)
        unix = std::abs(double(first) - creationTime) < std::abs(asGps - creationTime);
    else
        unix = asGps > QDateTime::currentSecsSinceEpoch() + 86400;
    if (unix)
        return;
    for (Fix &f : fixes)
        if (f.clockMs > 0)
            f.clockMs = qint64(std::llround(gpstime::toUnix(f.clockMs / 1000.0) * 1000.0));
}

Outcome CammReader::read(Container &file, Telemetry &out)
{
    out.source = source();
    out.clock = Clock::Utc;
    qint64 firstBroken = -1;
    bool present = false;
    const Outcome o = eachSample(
        file, out,
        [&](const TrackInfo &t) {
            return (present = present || t.format == fourcc("camm")), t.format == fourcc("camm");
        },
        [&](const Sample &s, const QByteArray &data) {
            if (!decode(data, s.time, out.fixes) && firstBroken < 0) {
                firstBroken = s.offset;
                qWarning().noquote()
                    << "CAMM sample at offset" << s.offset << "is cut short or of an unknown type";
            }
            return Verdict::Taken;
        });
    if (o == Outcome::Read) {
        placeTimes(out.fixes, file.creationTime);
        speedsFromPositions(out.fixes); // type 5 has none
    }
    if (o == Outcome::Absent && present && firstBroken >= 0) {
        out.error = QStringLiteral("CAMM track holds no readable packet (the first broken sample "
                                   "at offset %1)")
                        .arg(firstBroken);
        return Outcome::Refused;
    }
    return o;
}

// ---- 70mai ---------------------------------------------------------------

const char *SeventyMaiReader::description() const
{
    return "70mai GPS box of 36-byte records: 70mai Pro, Pro Plus, Midrive D02/D03";
}

void SeventyMaiReader::decode(const QByteArray &records, QVector<Fix> &fixes)
{
    for (int pos = 0; pos + 36 <= records.size(); pos += 36) {
        const QByteArray record = records.mid(pos, 36); // Bytes keeps a reference
        Bytes b(record);
        if (record.count('\0') == 36)
            break;
        // The reference letters stand alone, or with the number right after
        // them; the padded form is told by its three zero bytes.
        const bool padded = b.u8(17) == 0 && b.u8(18) == 0 && b.u8(19) == 0;
        const char ns = char(b.u8(16));
        const int latAt = padded ? 20 : 17;
        const char ew = char(b.u8(padded ? 24 : 21));
        const int lonAt = padded ? 28 : 22;
        Fix f;
        f.at = b.u32le(8);
        f.speedKmh = b.u32le(12) / 1000.0;
        const double lat = VideoInfoParse::DDTran(b.u32le(latAt) / 1000.0);
        const double lon = VideoInfoParse::DDTran(b.u32le(lonAt) / 1000.0);
        f.latitude = ns == 'S' ? -lat : lat;
        f.longitude = ew == 'W' ? -lon : lon;
        f.valid = (ns == 'N' || ns == 'S') && (ew == 'E' || ew == 'W') && b.ok;
        fixes.append(f);
    }
}

Outcome SeventyMaiReader::read(Container &file, Telemetry &out)
{
    out.source = source();
    out.clock = Clock::None;
    const Box box = file.topLevel(fourcc("GPS "));
    if (!box.type)
        return Outcome::Absent;
    QByteArray data;
    if (!file.io.payload(box, data)) {
        out.error = file.error();
        return Outcome::Refused;
    }
    decode(data, out.fixes);
    for (const Fix &f : qAsConst(out.fixes))
        if (f.valid)
            return Outcome::Read;
    out.error =
        QStringLiteral("70mai GPS box at offset %1 holds no whole record with a fix (%2 bytes)")
            .arg(box.offset)
            .arg(data.size());
    return Outcome::Refused;
}

// ---- Garmin --------------------------------------------------------------

const char *GarminReader::description() const
{
    return "Garmin PNDM samples: Garmin Dash Cam 45 to 67W, Mini, Tandem";
}

bool GarminReader::decode(const QByteArray &sample, Fix &fix)
{
    // "PNDM" opens the record, after a 16-bit length or a 32-bit size.
    int at = -1;
    for (int skip : {0, 2, 4})
        if (sample.mid(skip, 4) == "PNDM") {
            at = skip;
            break;
        }
    if (at < 0)
        return false;
    Bytes b(sample);
    constexpr double perSemicircle = 180.0 / 2147483648.0;
    fix.speedKmh = b.u16(at + 8) * kmhPerMph;
    fix.latitude = std::int32_t(b.u32(at + 12)) * perSemicircle;
    fix.longitude = std::int32_t(b.u32(at + 16)) * perSemicircle;
    fix.valid = b.ok;
    return b.ok;
}

Outcome GarminReader::read(Container &file, Telemetry &out)
{
    out.source = source();
    out.clock = Clock::None;
    bool first = true;
    const Outcome o = eachSample(
        file, out, [](const TrackInfo &t) { return isTextTrack(t) || t.handler == fourcc("meta"); },
        [&](const Sample &s, const QByteArray &data) {
            Fix f;
            f.at = s.time;
            if (!decode(data, f)) {
                if (first)
                    return Verdict::NotThisTrack;
                f.valid = false;
            }
            first = false;
            out.fixes.append(f);
            return Verdict::Taken;
        });
    return o;
}

} // namespace embedded
