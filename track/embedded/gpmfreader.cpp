#include "gpmfreader.h"

#include "container.h"
#include "tracklimits.h"

#include <QDate>
#include <QDateTime>
#include <QDebug>
#include <algorithm>
#include <cmath>
#include <cstring>

namespace embedded {

namespace {

constexpr int maxDepth = 4; // DEVC > STRM > values; deeper is no GPMF

int typeSize(char type)
{
    switch (type) {
    case 'b':
    case 'B':
    case 'c':
        return 1;
    case 's':
    case 'S':
        return 2;
    case 'l':
    case 'L':
    case 'f':
    case 'F':
    case 'q':
        return 4;
    case 'd':
    case 'j':
    case 'J':
    case 'Q':
        return 8;
    case 'U':
        return 16;
    default:
        return 0;
    }
}

// The numbers of one element of a value, by its type letter.
double number(Bytes &b, int at, char type)
{
    switch (type) {
    case 'b':
        return std::int8_t(b.u8(at));
    case 'B':
        return b.u8(at);
    case 's':
        return std::int16_t(b.u16(at));
    case 'S':
        return b.u16(at);
    case 'l':
        return std::int32_t(b.u32(at));
    case 'L':
        return b.u32(at);
    case 'j':
        return double(std::int64_t(b.u64(at)));
    case 'J':
        return double(b.u64(at));
    case 'f': {
        const std::uint32_t bits = b.u32(at);
        float f;
        std::memcpy(&f, &bits, 4);
        return f;
    }
    case 'd': {
        const std::uint64_t bits = b.u64(at);
        double d;
        std::memcpy(&d, &bits, 8);
        return d;
    }
    default:
        return 0.0;
    }
}

struct Klv
{
    std::uint32_t key = 0;
    char type = 0;
    int structSize = 0;
    int repeat = 0;
    int data = 0; // offset of the data
    int size = 0; // structSize * repeat, unpadded
};

// The state of one STRM while its values are read.
struct Stream
{
    QVector<double> scale{1.0};
    QByteArray complexType; // TYPE, for '?' values
    int fixType = -1;       // GPSF
    qint64 utcMs = -1;      // GPSU
    const Klv *gps5 = nullptr;
    const Klv *gps9 = nullptr;
    const Klv *glpi = nullptr; // the Karma drone's position
    const Klv *syst = nullptr; // its clock: Unix time against time since boot
};

qint64 gpsuMs(const QByteArray &text)
{
    // "yymmddhhmmss.sss"
    if (text.size() < 12)
        return -1;
    bool ok = true;
    auto two = [&](int at) {
        bool good = false;
        const int v = text.mid(at, 2).toInt(&good);
        ok = ok && good;
        return v;
    };
    const QDate date(2000 + two(0), two(2), two(4));
    const QTime time(two(6), two(8), two(10));
    const double fraction = text.size() > 12 ? text.mid(12, 4).toDouble() : 0.0;
    if (!ok || !date.isValid() || !time.isValid())
        return -1;
    // "1e99" or "nan" as the fraction: no milliseconds, not an undefined cast.
    const qint64 ms = fraction >= 0.0 && fraction < 1.0 ? qint64(fraction * 1000) : 0;
    return QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch() + ms;
}

class Decoder
{
public:
    Decoder(const QByteArray &payload, double start, double duration, QVector<Fix> &fixes)
        : data(payload), b(payload), start(start), duration(duration), fixes(fixes)
    {
    }

    bool walk(int begin, int end, int depth)
    {
        if (depth > maxDepth)
            return fail(begin, QStringLiteral("GPMF nested deeper than %1").arg(maxDepth));
        QVector<Klv> items;
        int pos = begin;
        while (pos + 8 <= end) {
            Klv k;
            k.key = b.u32(pos);
            if (k.key == 0)
                break; // padding to the end of the payload
            k.type = char(b.u8(pos + 4));
            k.structSize = b.u8(pos + 5);
            k.repeat = b.u16(pos + 6);
            k.data = pos + 8;
            k.size = k.structSize * k.repeat; // at most 255 * 65535: no overflow
            const int padded = (k.size + 3) & ~3;
            if (padded > end - k.data)
                return fail(pos, QStringLiteral("GPMF item '%1' of %2 bytes runs past its parent")
                                     .arg(fourccText(k.key))
                                     .arg(k.size));
            items.append(k);
            pos = k.data + padded;
        }
        for (const Klv &k : qAsConst(items))
            if (k.type == 0 && !walk(k.data, k.data + k.size, depth + 1))
                return false;
        readStream(items);
        return true;
    }

    QString error;

private:
    bool fail(int at, const QString &what)
    {
        error = QStringLiteral("%1 (payload byte %2)").arg(what).arg(at);
        return false;
    }

    void readStream(const QVector<Klv> &items)
    {
        Stream s;
        for (const Klv &k : items) {
            switch (k.key) {
            case fourcc("SCAL"): {
                const int size = typeSize(k.type);
                if (size == 0 || k.structSize % size != 0)
                    break;
                s.scale.clear();
                for (int at = k.data; at + size <= k.data + k.size; at += size)
                    s.scale.append(number(b, at, k.type));
                break;
            }
            case fourcc("TYPE"):
                s.complexType = data.mid(k.data, k.size);
                break;
            case fourcc("GPSF"):
                if (typeSize(k.type) > 0 && k.size >= typeSize(k.type)) {
                    // Bounded before the cast: a hostile 'd' or 'J' is no int.
                    const double fix = number(b, k.data, k.type);
                    s.fixType = std::isfinite(fix) ? int(qBound(-1.0, fix, 3.0)) : 0;
                }
                break;
            case fourcc("GPSU"):
                s.utcMs = gpsuMs(data.mid(k.data, k.size));
                break;
            case fourcc("GPS5"):
                s.gps5 = &k;
                break;
            case fourcc("GPS9"):
                s.gps9 = &k;
                break;
            case fourcc("GLPI"):
                s.glpi = &k;
                break;
            case fourcc("SYST"):
                s.syst = &k;
                break;
            default:
                break;
            }
        }
        if (s.gps5)
            readGps5(*s.gps5, s);
        if (s.gps9)
            readGps9(*s.gps9, s);
        if (s.glpi)
            readGlpi(*s.glpi, s);
        if (s.syst)
            readSyst(*s.syst, s);
    }

    // The elements of row `row` of a '?' value, scaled, by its TYPE.
    QVector<double> row(const Klv &k, const Stream &s, int index) const
    {
        QVector<double> values;
        int at = k.data + k.structSize * index;
        for (int e = 0; e < s.complexType.size(); ++e) {
            const char type = s.complexType[e];
            const int size = typeSize(type);
            if (size == 0 || at + size > k.data + k.structSize * (index + 1))
                break;
            values.append(scaled(s, number(const_cast<Bytes &>(b), at, type), e));
            at += size;
        }
        return values;
    }

    void readGlpi(const Klv &k, const Stream &s)
    {
        // ms since boot, lat, lon, alt, relative alt, vx, vy, vz, heading
        if (k.type != '?')
            return;
        for (int i = 0; i < k.repeat; ++i) {
            const QVector<double> v = row(k, s, i);
            if (v.size() < 9)
                return;
            Fix f;
            f.at = start + duration * i / k.repeat;
            f.latitude = v[1];
            f.longitude = v[2];
            f.altitude = v[3];
            f.speedKmh = std::sqrt(v[5] * v[5] + v[6] * v[6]) * kmhPerMps;
            f.course = v[8];
            f.valid = true;
            bootSeconds.append({fixes.size(), v[0]});
            append(f);
        }
    }

    void readSyst(const Klv &k, const Stream &s)
    {
        // Unix time and time since boot at one moment, for the drone's fixes.
        if (k.type != '?' || k.repeat < 1)
            return;
        const QVector<double> v = row(k, s, 0);
        if (v.size() >= 2 && v[0] > 1.0e9 && v[0] < 1.0e10)
            unixAtBoot = v[0] - v[1];
    }

public:
    void finish()
    {
        // A camera that writes GPS9 beside GPS5 (HERO11) stamps GPS5 with
        // GPSU, about 1.4 s after its fixes; GPS9 carries each fix's own time.
        if (!gps9Fixes.isEmpty())
            for (const Fix &f : qAsConst(gps9Fixes))
                append(f);
        else
            for (const Fix &f : qAsConst(gps5Fixes))
                append(f);
        if (unixAtBoot <= 0.0)
            return;
        for (const auto &pending : qAsConst(bootSeconds)) {
            const double ms = (unixAtBoot + pending.second) * 1000.0;
            // Only times a qint64 holds (the cast is undefined beyond).
            if (pending.first < fixes.size() && std::abs(ms) < 1.0e15)
                fixes[pending.first].clockMs = qint64(ms);
        }
    }

private:
    QVector<QPair<int, double>> bootSeconds;
    double unixAtBoot = 0.0;

    double scaled(const Stream &s, double value, int element) const
    {
        const double scale = s.scale.isEmpty() ? 1.0 : s.scale.value(element, s.scale.last());
        return scale != 0.0 ? value / scale : value;
    }

    void readGps5(const Klv &k, const Stream &s)
    {
        if (k.type != 'l' || k.structSize != 20)
            return;
        for (int i = 0; i < k.repeat; ++i) {
            const int at = k.data + 20 * i;
            Fix f;
            f.at = start + duration * i / k.repeat;
            f.latitude = scaled(s, std::int32_t(b.u32(at)), 0);
            f.longitude = scaled(s, std::int32_t(b.u32(at + 4)), 1);
            f.altitude = scaled(s, std::int32_t(b.u32(at + 8)), 2);
            f.speedKmh = scaled(s, std::int32_t(b.u32(at + 12)), 3) * kmhPerMps;
            // No GPSF (some firmware) reads as a fix; 0 and 1 are no lock.
            f.valid = s.fixType < 0 || s.fixType >= 2;
            if (s.utcMs >= 0)
                f.clockMs = s.utcMs + qint64(duration * 1000 * i / k.repeat);
            keep(gps5Fixes, f);
        }
    }

    void readGps9(const Klv &k, const Stream &s)
    {
        // lat, lon, alt, 2D speed, 3D speed, days since 2000, seconds of the
        // day, DOP, fix: the TYPE string says each one's size.
        QByteArray type = s.complexType;
        if (k.type != '?' || type.size() < 9)
            type = "lllllllSS";
        int offsets[9];
        int at = 0;
        for (int e = 0; e < 9; ++e) {
            offsets[e] = at;
            at += typeSize(type[e]);
        }
        if (k.structSize < at)
            return;
        for (int i = 0; i < k.repeat; ++i) {
            const int base = k.data + k.structSize * i;
            auto value = [&](int e) { return scaled(s, number(b, base + offsets[e], type[e]), e); };
            Fix f;
            f.at = start + duration * i / k.repeat;
            f.latitude = value(0);
            f.longitude = value(1);
            f.altitude = value(2);
            f.speedKmh = value(3) * kmhPerMps;
            const double days = value(5);
            const double seconds = value(6);
            f.valid = value(8) >= 2; // compared as a double: NaN or 1e300 cast to int is undefined
            if (days > 0 && days < 40000 && seconds >= 0 && seconds < 86401)
                f.clockMs = QDateTime(QDate(2000, 1, 1), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch() +
                            qint64(days) * 86400000 + qint64(seconds * 1000);
            keep(gps9Fixes, f);
        }
    }

    static void keep(QVector<Fix> &into, const Fix &f)
    {
        if (into.size() < 20 * tracklimits::maxSamples)
            into.append(f);
    }

    void append(const Fix &f)
    {
        if (fixes.size() < 20 * tracklimits::maxSamples)
            fixes.append(f);
    }

    const QByteArray &data;
    Bytes b;
    double start;
    double duration;
    QVector<Fix> &fixes;
    // This payload's fixes, until finish() takes one kind.
    QVector<Fix> gps5Fixes;
    QVector<Fix> gps9Fixes;
};

} // namespace

const char *GpmfReader::description() const
{
    return "GoPro GPMF (GPS5, GPS9) in the gpmd track: HERO5 to HERO11, HERO13, MAX, Fusion, Karma";
}

bool GpmfReader::looksLikeGpmf(const QByteArray &payload)
{
    Bytes b(payload);
    const std::uint32_t key = b.u32(0);
    return b.ok && b.u8(4) == 0 && (key == fourcc("DEVC") || key == fourcc("STRM"));
}

bool GpmfReader::decode(const QByteArray &payload, double start, double duration,
                        QVector<Fix> &fixes, QString *error)
{
    Decoder d(payload, start, duration, fixes);
    const bool ok = d.walk(0, payload.size(), 0);
    d.finish();
    if (!ok && error)
        *error = d.error;
    return ok;
}

Outcome GpmfReader::read(Container &file, Telemetry &out)
{
    out.source = source();
    out.clock = Clock::Utc;
    const TrackInfo *track = nullptr;
    for (const TrackInfo &t : qAsConst(file.tracks))
        if (t.format == fourcc("gpmd")) {
            track = &t;
            break;
        }
    if (!track)
        return Outcome::Absent;

    QVector<Sample> samples;
    if (!file.samples(*track, samples)) {
        out.error = file.error();
        return Outcome::Refused;
    }
    // A payload's fixes span its own second, also where the track's next
    // sample comes later (a gap lengthens the sample before it).
    QVector<double> durations;
    for (const Sample &s : qAsConst(samples))
        durations.append(s.duration);
    std::nth_element(durations.begin(), durations.begin() + durations.size() / 2, durations.end());
    const double typical = durations.isEmpty() ? 1.0 : durations[durations.size() / 2];

    QByteArray payload;
    bool checked = false;
    int broken = 0;
    QString firstBroken; // what went wrong first, and where
    for (const Sample &s : qAsConst(samples)) {
        if (s.size == 0)
            continue;
        if (!file.io.read(s.offset, s.size, payload)) {
            out.error = file.error();
            return Outcome::Refused;
        }
        if (!checked) {
            // Vantrue, Wolfbox and Rove also name a track gpmd.
            if (!looksLikeGpmf(payload))
                return Outcome::Absent;
            checked = true;
        }
        QString error;
        const double span = typical > 0.0 ? qMin(s.duration, typical) : s.duration;
        if (!decode(payload, s.time, span, out.fixes, &error) && ++broken == 1) {
            firstBroken = QStringLiteral("GPMF sample at offset %1: %2").arg(s.offset).arg(error);
            qWarning().noquote() << firstBroken;
        }
    }
    if (!checked)
        return Outcome::Absent;
    if (out.fixes.isEmpty() && broken > 0) {
        out.error = QStringLiteral("no GPMF sample of the gpmd track could be read; the first %1")
                        .arg(firstBroken);
        return Outcome::Refused;
    }
    return Outcome::Read;
}

} // namespace embedded
