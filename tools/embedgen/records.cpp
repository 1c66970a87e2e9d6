#include "records.h"
#include "embedded/gpstime.h"

#include <QDateTime>
#include <QSet>
#include <cmath>
#include <cstring>

namespace embedgen {

QStringList layouts()
{
    return {"novatek",
            "novatek-v3",
            "novatek-xor",
            "gpmf",
            "gpmf9",
            "texttrack",
            "texttrack-nextbase",
            "blackvue",
            "camm",
            "70mai",
            "garmin",
            "dji",
            "dji-srt"};
}

double altitudeAt(int i)
{
    return 40.0 + 15.0 * std::sin(i / 45.0);
}

double courseAt(const QVector<trackgen::Fix> &fixes, int i)
{
    if (fixes.size() < 2 || i < 0 || i >= fixes.size())
        return 0.0;
    const int a = i + 1 < fixes.size() ? i : i - 1;
    const trackgen::Fix &p = fixes[a];
    const trackgen::Fix &q = fixes[a + 1];
    const double north = q.latitude - p.latitude;
    const double east = (q.longitude - p.longitude) * std::cos(p.latitude * M_PI / 180.0);
    double degrees = std::atan2(east, north) * 180.0 / M_PI;
    if (degrees < 0)
        degrees += 360.0;
    return degrees;
}

namespace detail {

void putBe16(QByteArray &b, quint16 v)
{
    b.append(char(v >> 8)).append(char(v));
}

void putBe32(QByteArray &b, quint32 v)
{
    putBe16(b, quint16(v >> 16));
    putBe16(b, quint16(v));
}

void putBe64(QByteArray &b, quint64 v)
{
    putBe32(b, quint32(v >> 32));
    putBe32(b, quint32(v));
}

QByteArray box(const char *type, const QByteArray &payload, bool large)
{
    QByteArray b;
    if (large) {
        putBe32(b, 1);
        b.append(type, 4);
        putBe64(b, quint64(payload.size()) + 16);
    } else {
        putBe32(b, quint32(payload.size()) + 8);
        b.append(type, 4);
    }
    return b + payload;
}

QByteArray fullBox(const char *type, quint8 version, quint32 flags, const QByteArray &payload)
{
    QByteArray head;
    putBe32(head, quint32(version) << 24 | (flags & 0xffffff));
    return box(type, head + payload);
}

namespace {

using trackgen::Fix;

void putLe16(QByteArray &b, quint16 v)
{
    b.append(char(v)).append(char(v >> 8));
}

void putLe32(QByteArray &b, quint32 v)
{
    putLe16(b, quint16(v));
    putLe16(b, quint16(v >> 16));
}

void putLe64(QByteArray &b, quint64 v)
{
    putLe32(b, quint32(v));
    putLe32(b, quint32(v >> 32));
}

void putLeFloat(QByteArray &b, float v)
{
    quint32 bits;
    std::memcpy(&bits, &v, 4);
    putLe32(b, bits);
}

void putLeDouble(QByteArray &b, double v)
{
    quint64 bits;
    std::memcpy(&bits, &v, 8);
    putLe64(b, bits);
}

void setLe32(QByteArray &b, int at, quint32 v)
{
    for (int k = 0; k < 4; ++k)
        b[at + k] = char(v >> (8 * k));
}

void setLeFloat(QByteArray &b, int at, float v)
{
    quint32 bits;
    std::memcpy(&bits, &v, 4);
    setLe32(b, at, bits);
}

qint32 rounded(double v)
{
    return qint32(std::lround(v));
}

enum class State
{
    Valid,
    Stale,
    Zero,
    Gap
};

// The drive as the camera writes it: each second's state and the values
// that go with it (stale seconds repeat the last valid fix, standing still).
class Drive
{
public:
    Drive(const QVector<Fix> &fixes, const Options &options, qint64 firstDay)
        : fixes(fixes), options(options)
    {
        const QSet<int> invalid(options.invalidSeconds.begin(), options.invalidSeconds.end());
        int day = 0;
        int lastValid = -1;
        for (int i = 0; i < fixes.size(); ++i) {
            if (i > 0 && fixes[i].secondOfDay < fixes[i - 1].secondOfDay)
                ++day;
            utc.append(firstDay + qint64(day) * 86400 + fixes[i].secondOfDay);
            State s = State::Valid;
            if (i >= options.gapFrom && i < options.gapTo)
                s = State::Gap;
            else if (i < options.coldStart)
                s = State::Zero;
            else if (invalid.contains(i))
                s = lastValid >= 0 ? State::Stale : State::Zero;
            state.append(s);
            if (s == State::Valid)
                lastValid = i;
            source.append(s == State::Valid ? i : s == State::Stale ? lastValid : -1);
        }
    }

    int size() const { return fixes.size(); }
    bool written(int i) const { return state[i] != State::Gap; }
    bool valid(int i) const { return state[i] == State::Valid; }
    bool zero(int i) const { return source[i] < 0; }

    double lat(int i) const { return zero(i) ? 0.0 : fixes[source[i]].latitude; }
    double lon(int i) const { return zero(i) ? 0.0 : fixes[source[i]].longitude; }
    double alt(int i) const { return zero(i) ? 0.0 : altitudeAt(source[i]); }
    double course(int i) const { return zero(i) ? 0.0 : courseAt(fixes, source[i]); }
    double kmh(int i) const { return valid(i) ? fixes[i].speedKmh : 0.0; }

    // The true track a fraction f of the way from fix i to fix i + 1 (the
    // last fix holds).
    double trueLat(int i, double f) const { return mix(fixes[i].latitude, next(i).latitude, f); }
    double trueLon(int i, double f) const { return mix(fixes[i].longitude, next(i).longitude, f); }
    double trueAlt(int i, double f) const
    {
        return mix(altitudeAt(i), altitudeAt(i + 1 < size() ? i + 1 : i), f);
    }
    double trueKmh(int i, double f) const { return mix(fixes[i].speedKmh, next(i).speedKmh, f); }

    QDateTime time(int i, int ms = 0) const
    {
        return QDateTime::fromMSecsSinceEpoch(utc[i] * 1000 + ms, Qt::UTC);
    }
    QByteArray text(int i, const char *format, int ms = 0) const
    {
        return time(i, ms).toString(QLatin1String(format)).toLatin1();
    }

    const QVector<Fix> &fixes;
    const Options &options;
    QVector<qint64> utc;

private:
    static double mix(double a, double b, double f) { return a + (b - a) * f; }
    const Fix &next(int i) const { return fixes[i + 1 < size() ? i + 1 : i]; }

    QVector<State> state;
    QVector<int> source;
};

// Degrees as NMEA (d)ddmm.mmmm, exact to the last digit written.
QByteArray nmeaAngle(double degrees, int degreeDigits, int decimals)
{
    const qint64 scale = qint64(std::pow(10, decimals));
    const qint64 units = std::llround(std::fabs(degrees) * 60.0 * double(scale));
    const qint64 whole = units / (60 * scale);
    const qint64 minutes = units % (60 * scale);
    return QByteArray::number(whole).rightJustified(degreeDigits, '0') +
           QByteArray::number(minutes / scale).rightJustified(2, '0') + '.' +
           QByteArray::number(minutes % scale).rightJustified(decimals, '0');
}

// Degrees as DDMM.MMMM (magnitude); cameras store it as float or as a
// scaled integer.
double ddmmExact(double degrees)
{
    const double a = std::fabs(degrees);
    const double whole = std::floor(a);
    return whole * 100.0 + (a - whole) * 60.0;
}

float ddmm(double degrees)
{
    return float(ddmmExact(degrees));
}

QByteArray checked(const QByteArray &body)
{
    return body + '*' + trackgen::nmeaChecksum(body).toLatin1();
}

QByteArray fixed(double v, int decimals)
{
    return QByteArray::number(v, 'f', decimals);
}

// The body of an RMC sentence (no "$", no checksum) for second i.
QByteArray rmcBody(const Drive &d, int i, const char *talker, int timeDecimals, int decimals)
{
    const QByteArray hms =
        d.text(i, "hhmmss") + (timeDecimals ? "." + QByteArray(timeDecimals, '0') : "");
    const QByteArray head = QByteArray(talker) + "RMC,";
    if (d.zero(i))
        return head + ",V,,,,,,,,,,N";
    if (!d.valid(i))
        return head + hms + ",V,,,,,,,," + d.text(i, "ddMMyy") + ",,,N";
    return head + hms + ",A," + nmeaAngle(d.lat(i), 2, decimals) + (d.lat(i) < 0 ? ",S," : ",N,") +
           nmeaAngle(d.lon(i), 3, decimals) + (d.lon(i) < 0 ? ",W," : ",E,") +
           fixed(d.kmh(i) / 1.852, 3) + ',' + fixed(d.course(i), 2) + ',' + d.text(i, "ddMMyy") +
           ",,,A";
}

QByteArray ggaBody(const Drive &d, int i)
{
    const QByteArray hms = d.text(i, "hhmmss") + ".000";
    if (!d.valid(i))
        return "GPGGA," + hms + ",,,,,0,00,99.9,,M,,M,,";
    return "GPGGA," + hms + ',' + nmeaAngle(d.lat(i), 2, 4) + (d.lat(i) < 0 ? ",S," : ",N,") +
           nmeaAngle(d.lon(i), 3, 4) + (d.lon(i) < 0 ? ",W," : ",E,") + "1,08,0.9," +
           fixed(d.alt(i), 1) + ",M,0.0,M,,";
}

QByteArray withLength(const QByteArray &text)
{
    QByteArray b;
    putBe16(b, quint16(text.size()));
    return b + text;
}

// Novatek freeGPS blocks: 0x4000 bytes each, or 0x8000 (as cameras also
// write them) when no index points at them. exiftool's scan reads 32 KiB
// for each block it finds and falls behind, missing the last ones, when
// blocks lie closer than that (a test clip has little video a second).
int novatekBlockSize(const Options &options)
{
    return options.index ? 0x4000 : 0x8000;
}

QByteArray novatekHead(const Drive &d, quint32 recordBytes)
{
    const int size = novatekBlockSize(d.options);
    QByteArray b(size, '\0');
    b[1] = char(size >> 16);
    b[2] = char(size >> 8);
    std::memcpy(b.data() + 4, "freeGPS ", 8);
    setLe32(b, 12, recordBytes); // what follows the 16-byte header
    return b;
}

void novatekClock(QByteArray &b, int at, const Drive &d, int i)
{
    const QDateTime t = d.time(i);
    const int values[6] = {t.time().hour(),        t.time().minute(), t.time().second(),
                           t.date().year() - 2000, t.date().month(),  t.date().day()};
    for (int k = 0; k < 6; ++k)
        setLe32(b, at + 4 * k, quint32(values[k]));
}

void novatekStatus(QByteArray &b, int at, const Drive &d, int i)
{
    b[at] = d.valid(i) ? 'A' : 'V';
    b[at + 1] = d.zero(i) ? '\0' : d.lat(i) < 0 ? 'S' : 'N';
    b[at + 2] = d.zero(i) ? '\0' : d.lon(i) < 0 ? 'W' : 'E';
}

void novatekFloats(QByteArray &b, int at, const Drive &d, int i)
{
    setLeFloat(b, at, ddmm(d.lat(i)));
    setLeFloat(b, at + 4, ddmm(d.lon(i)));
    setLeFloat(b, at + 8, float(d.kmh(i) / 1.852));
    setLeFloat(b, at + 12, float(d.course(i)));
}

QByteArray novatekClassic(const Drive &d, int i)
{
    QByteArray b = novatekHead(d, 0x4c);
    novatekClock(b, 0x30, d, i);
    novatekStatus(b, 0x48, d, i);
    novatekFloats(b, 0x4c, d, i);
    return b;
}

QByteArray novatekV3(const Drive &d, int i)
{
    QByteArray b = novatekHead(d, 0x38);
    novatekClock(b, 0x10, d, i);
    novatekStatus(b, 0x28, d, i);
    novatekFloats(b, 0x2c, d, i);
    // 0.02 g, -0.05 g, 1 g in 1/256 g
    setLe32(b, 0x3c, quint32(5));
    setLe32(b, 0x40, quint32(-13));
    setLe32(b, 0x44, quint32(256));
    return b;
}

// The ASCII record that the XOR variant stores, every byte XOR 0xAA, from
// byte 18 of the block.
QByteArray novatekXor(const Drive &d, int i)
{
    // encrypted, these are the bytes readers key on: aa aa f2 e1 f0 ee 54 54
    QByteArray plain("\0\0XKZD\xfe\xfe", 8);
    plain += d.text(i, "yyyyMMddhhmmss");
    plain += '\0';
    QByteArray label("VELOMAR");
    label.append(QByteArray(14 - label.size(), '\0'));
    label.append(char(d.valid(i) ? 3 : 0)); // fix: 3D or none
    plain += label;
    const bool position = d.valid(i);
    const auto digits = [](double degrees, int width) {
        return QByteArray::number(std::llround(ddmmExact(degrees) * 1e4))
            .rightJustified(width, '0');
    };
    plain += position && d.lat(i) < 0 ? 'S' : 'N';
    plain += position ? digits(d.lat(i), 8) : QByteArray(8, '0');
    plain += position && d.lon(i) < 0 ? 'W' : 'E';
    plain += position ? digits(d.lon(i), 9) : QByteArray(9, '0');
    plain += QByteArray::number(qint64(std::lround(d.kmh(i)))).rightJustified(8, '0');
    plain += "+002-005+100"; // accelerometer in 1/100 g
    plain.append(QByteArray(0x101 - plain.size(), '\0'));

    QByteArray b = novatekHead(d, 0);
    for (int k = 0; k < plain.size(); ++k)
        b[18 + k] = char(plain[k] ^ char(0xaa));
    return b;
}

// GoPro KLV: FourCC, type, struct size, repeat; data padded to 4 bytes.
QByteArray klv(const char *key, char type, int structSize, int repeat, QByteArray data)
{
    QByteArray b(key, 4);
    b.append(type).append(char(structSize));
    putBe16(b, quint16(repeat));
    while (data.size() % 4)
        data.append('\0');
    return b + data;
}

QByteArray nested(const char *key, const QByteArray &children)
{
    return klv(key, '\0', 1, children.size(), children);
}

QByteArray klvText(const char *key, const QByteArray &text)
{
    return klv(key, 'c', text.size(), 1, text);
}

QByteArray klvLongs(const char *key, char type, const QVector<qint64> &values)
{
    QByteArray data;
    for (qint64 v : values)
        putBe32(data, quint32(v));
    return klv(key, type, 4, values.size(), data);
}

QByteArray klvUnits(const QVector<QByteArray> &units)
{
    QByteArray data;
    for (const QByteArray &u : units)
        data += u.leftJustified(3, '\0', true);
    return klv("UNIT", 'c', 3, units.size(), data);
}

// One GPMF payload for second i: GPS5 (18 fixes) or GPS9 (10 fixes), or
// both as a HERO11 writes them, its GPS5 stamped by a GPSU 1.4 s late.
QByteArray gpmfStream(const Drive &d, int i, bool nine, int gpsuLateMs = 0);
QByteArray gpmfPayload(const Drive &d, int i, bool nine, bool both = false)
{
    QByteArray device = klvLongs("DVID", 'L', {1});
    device += klvText("DVNM", "Camera");
    device += nested("STRM", gpmfStream(d, i, nine));
    if (both)
        device += nested("STRM", gpmfStream(d, i, false, 1400));
    return nested("DEVC", device);
}

QByteArray gpmfStream(const Drive &d, int i, bool nine, int gpsuLateMs)
{
    const bool lock = d.valid(i);
    const int count = nine ? 10 : 18;
    QByteArray samples;
    for (int j = 0; j < count; ++j) {
        const double f = double(j) / count;
        const double lat = lock ? d.trueLat(i, f) : d.lat(i);
        const double lon = lock ? d.trueLon(i, f) : d.lon(i);
        const double alt = lock ? d.trueAlt(i, f) : d.alt(i);
        const double mps = lock ? d.trueKmh(i, f) / 3.6 : 0.0;
        putBe32(samples, quint32(rounded(lat * 1e7)));
        putBe32(samples, quint32(rounded(lon * 1e7)));
        putBe32(samples, quint32(rounded(alt * 1000)));
        putBe32(samples, quint32(rounded(mps * 1000)));
        putBe32(samples, quint32(rounded(mps * 100)));
        if (nine) {
            const QDateTime t = d.time(i, j * 100);
            putBe32(samples, quint32(QDate(2000, 1, 1).daysTo(t.date())));
            putBe32(samples, quint32(t.time().msecsSinceStartOfDay()));
            putBe16(samples, lock ? 150 : 9999);
            putBe16(samples, lock ? 3 : 0);
        }
    }
    QByteArray stream;
    if (nine) {
        stream += klvText("STNM", "GPS (Lat., Long., Alt., 2D, 3D, days, secs, DOP, fix)");
        stream += klvUnits({"deg", "deg", "m", "m/s", "m/s", "", "s", "", ""});
        stream += klvLongs("SCAL", 'l', {10000000, 10000000, 1000, 1000, 100, 1, 1000, 100, 1});
        stream += klvText("TYPE", "lllllllSS");
        stream += klv("GPS9", '?', 32, count, samples);
    } else {
        QByteArray precision;
        putBe16(precision, lock ? 150 : 9999);
        stream += klvText("STNM", "GPS (Lat., Long., Alt., 2D speed, 3D speed)");
        stream += klvLongs("GPSF", 'L', {lock ? 3 : 0});
        stream += klv("GPSU", 'U', 16, 1, d.text(i, "yyMMddhhmmss.zzz", gpsuLateMs));
        stream += klv("GPSP", 'S', 2, 1, precision);
        stream += klvUnits({"deg", "deg", "m", "m/s", "m/s"});
        stream += klvLongs("SCAL", 'l', {10000000, 10000000, 1000, 1000, 100});
        // last in its stream: readers scale only the last value by SCAL
        stream += klv("GPS5", 'l', 20, count, samples);
    }
    return stream;
}

QByteArray thinkwareSample(const Drive &d, int i)
{
    return withLength("gsensori,4,512,-67,-12,100;" + checked(rmcBody(d, i, "GN", 2, 5)) +
                      ";CAR,0,0,0,0.0,0,0,0,0,0,0,0,0");
}

QByteArray padded(const QByteArray &b, int size)
{
    return b.leftJustified(size, '\0', true);
}

QByteArray nextbaseSample(const Drive &d, int i)
{
    QByteArray b;
    putBe16(b, 0x0120);
    putLe32(b, 0);
    b += d.text(i, "yyyyMMddhhmmss"); // the camera's local time; here UTC
    putLe32(b, quint32(5));
    putLe32(b, quint32(-13));
    putLe32(b, quint32(256));
    // Their checksums also count the "$", so they never validate.
    const auto sentence = [](const QByteArray &body) {
        return '$' + body + '*' + trackgen::nmeaChecksum('$' + body).toLatin1() + "\r\n";
    };
    b += padded(sentence(rmcBody(d, i, "GP", 3, 4)), 128);
    b += padded(sentence(ggaBody(d, i)), 128);
    return b;
}

QByteArray cammSample(const Drive &d, int i, bool five, bool unixTime, bool motion)
{
    QByteArray b;
    if (motion) { // orientation (type 0) and gyro (type 2) before the fix
        for (int type : {0, 2}) {
            putLe16(b, 0);
            putLe16(b, quint16(type));
            for (int axis = 0; axis < 3; ++axis)
                putLeFloat(b, 0.01f * float(axis + 1));
        }
    }
    putLe16(b, 0);
    if (five) {
        putLe16(b, 5);
        const bool ok = d.valid(i);
        putLeDouble(b, ok ? d.lat(i) : 0.0);
        putLeDouble(b, ok ? d.lon(i) : 0.0);
        putLeDouble(b, ok ? d.alt(i) : 0.0);
        return b;
    }
    putLe16(b, 6);
    // GPS time as the format defines it, or Unix time as Insta360 writes it.
    putLeDouble(b, unixTime ? double(d.utc[i]) : gpstime::fromUnix(double(d.utc[i])));
    putLe32(b, d.valid(i) ? 3 : 0);
    putLeDouble(b, d.lat(i));
    putLeDouble(b, d.lon(i));
    putLeFloat(b, float(d.alt(i)));
    putLeFloat(b, d.valid(i) ? 3.0f : 9999.0f);
    putLeFloat(b, d.valid(i) ? 5.0f : 9999.0f);
    const double mps = d.kmh(i) / 3.6;
    const double course = d.course(i) * M_PI / 180.0;
    putLeFloat(b, float(mps * std::sin(course)));
    putLeFloat(b, float(mps * std::cos(course)));
    putLeFloat(b, 0.0f);
    putLeFloat(b, d.valid(i) ? 0.5f : 9999.0f);
    return b;
}

qint32 semicircles(double degrees)
{
    return qint32(std::llround(degrees * 2147483648.0 / 180.0));
}

QByteArray garminSample(const Drive &d, int i)
{
    const bool ok = d.valid(i);
    QByteArray r("PNDM");
    putBe32(r, 0);
    putBe16(r, quint16(std::lround(ok ? d.kmh(i) / 1.609344 : 0.0)));
    putBe16(r, 0);
    putBe32(r, quint32(ok ? semicircles(d.lat(i)) : 0));
    putBe32(r, quint32(ok ? semicircles(d.lon(i)) : 0));
    return withLength(r);
}

double metresBetween(double lat1, double lon1, double lat2, double lon2)
{
    const double north = (lat2 - lat1) * 111320.0;
    const double east = (lon2 - lon1) * 111320.0 * std::cos(lat1 * M_PI / 180.0);
    return std::hypot(north, east);
}

QByteArray djiSample(const Drive &d, int i)
{
    const bool ok = d.valid(i);
    const Fix &home = d.fixes.first();
    const double lat = ok ? d.lat(i) : 0.0;
    const double lon = ok ? d.lon(i) : 0.0;
    const QByteArray text =
        "F/2.8, SS 1000, ISO 100, EV 0, GPS (" + fixed(lon, 6) + ", " + fixed(lat, 6) + ", " +
        QByteArray::number(ok ? qint64(std::lround(d.alt(i))) : 0) + "), D " +
        fixed(ok ? metresBetween(home.latitude, home.longitude, lat, lon) : 0.0, 1) + "m, H " +
        fixed(ok ? d.alt(i) - altitudeAt(0) : 0.0, 1) + "m, H.S " + fixed(d.kmh(i) / 3.6, 1) +
        "m/s, V.S 0.0m/s";
    return withLength(text);
}

QByteArray srtTime(qint64 ms)
{
    const auto two = [](qint64 v) { return QByteArray::number(v).rightJustified(2, '0'); };
    return two(ms / 3600000) + ':' + two(ms / 60000 % 60) + ':' + two(ms / 1000 % 60) + ',' +
           QByteArray::number(ms % 1000).rightJustified(3, '0');
}

QByteArray djiSrt(const Drive &d)
{
    QByteArray srt;
    const int frames = 30 * d.size();
    for (int n = 0; n < frames; ++n) {
        const int i = n / 30;
        if (!d.written(i))
            continue;
        const qint64 start = qint64(n) * 1000 / 30;
        const qint64 end = qint64(n + 1) * 1000 / 30;
        const double f = (n % 30) / 30.0;
        const bool ok = d.valid(i);
        const double alt = ok ? d.trueAlt(i, f) : 0.0;
        const QByteArray count = QByteArray::number(n + 1);
        srt += count + '\n' + srtTime(start) + " --> " + srtTime(end) + '\n';
        srt += "<font size=\"28\">FrameCnt: " + count +
               ", DiffTime: " + QByteArray::number(end - start) + "ms\n";
        srt += d.text(i, "yyyy-MM-dd hh:mm:ss.zzz", int(start - qint64(i) * 1000)) + '\n';
        srt += "[iso: 100] [shutter: 1/100.0] [fnum: 2.8] [ev: 0] [ct: 5500] [color_md: default] "
               "[focal_len: 24.00] [latitude: " +
               fixed(ok ? d.trueLat(i, f) : 0.0, 6) +
               "] [longitude: " + fixed(ok ? d.trueLon(i, f) : 0.0, 6) +
               "] [rel_alt: " + fixed(ok ? alt - altitudeAt(0) : 0.0, 3) +
               " abs_alt: " + fixed(alt, 3) + "] </font>\n\n";
    }
    return srt;
}

QByteArray blackvueFree(const Drive &d, bool large)
{
    const qint64 startMs = d.utc.isEmpty() ? 0 : d.utc.first() * 1000;
    QByteArray sttm;
    putBe64(sttm, quint64(startMs)); // local time on the cameras; here UTC
    QByteArray name;
    putBe32(name, 0);
    name += d.text(0, "yyyyMMdd_hhmmss") + "_NF.mp4";
    name += '\0';
    QByteArray lines;
    for (int i = 0; i < d.size(); ++i) {
        if (!d.written(i))
            continue;
        lines += '[' + QByteArray::number(startMs + qint64(i) * 1000) + "]$" +
                 checked(rmcBody(d, i, "GP", 2, 5)) + '\n';
    }
    QByteArray accel;
    for (int i = 0; i < d.size(); ++i) {
        for (int k = 0; k < 10; ++k) {
            putBe32(accel, quint32(i * 1000 + k * 100));
            putBe16(accel, quint16(2));
            putBe16(accel, quint16(-5));
            putBe16(accel, quint16(100));
        }
    }
    accel += QByteArray("\xff\xff\xff\xff\0\0\0\0\0\0", 10);
    const QByteArray payload = box("cprt", "Pittasoft Co., Ltd.;DR900X-2CH;1.009;English;") +
                               box("sttm", sttm) + box("ptnm", name) + box("gps ", lines) +
                               box("3gf ", accel);
    return box("free", payload, large);
}

// 36-byte records; the reference letters are single bytes with the
// integers right after them, unaligned (as exiftool and other 70mai readers
// decode them).
QByteArray seventyMai(const Drive &d, bool large)
{
    QByteArray b;
    for (int i = 0; i < d.size(); ++i) {
        if (!d.written(i))
            continue;
        const bool ok = d.valid(i);
        putLe32(b, 1);
        putLe32(b, 1);
        putLe32(b, quint32(i));
        putLe32(b, quint32(std::lround(d.kmh(i) * 1000)));
        b += ok ? (d.lat(i) < 0 ? 'S' : 'N') : '\0';
        putLe32(b, quint32(ok ? std::llround(ddmmExact(d.lat(i)) * 1000) : 0));
        b += ok ? (d.lon(i) < 0 ? 'W' : 'E') : '\0';
        putLe32(b, quint32(ok ? std::llround(ddmmExact(d.lon(i)) * 1000) : 0));
        b += QByteArray(10, '\0');
    }
    b += QByteArray(36, '\0'); // an empty record ends the list
    return box("GPS ", b, large);
}

QByteArray sampleEntryHead()
{
    QByteArray b(6, '\0');
    putBe16(b, 1); // data reference index
    return b;
}

QByteArray textEntry(bool mov)
{
    QByteArray b = sampleEntryHead();
    if (mov) {
        b += QByteArray(4 + 4 + 6 + 8 + 8 + 2 + 2 + 1 + 2, '\0');
        b += QByteArray(6, '\xff'); // white text
        b += '\0';                  // no font name
        return box("text", b);
    }
    putBe32(b, 0);                              // display flags
    b.append(char(1)).append(char(-1));         // centred, at the bottom
    b += QByteArray(4, '\0');                   // background
    b += QByteArray(8, '\0');                   // text box
    b += QByteArray("\0\0\0\0\0\x01\0\x12", 8); // style: characters, font 1, face, size
    b += QByteArray(4, '\xff');                 // white text
    QByteArray fonts;
    putBe16(fonts, 1);
    putBe16(fonts, 1);
    fonts += char(5);
    fonts += "Serif";
    b += box("ftab", fonts);
    return box("tx3g", b);
}

void timedTrack(Plan *plan, const char *handler, const char *name, const QByteArray &entry)
{
    plan->kind = Plan::Track;
    plan->handler = handler;
    plan->handlerName = name;
    plan->sampleEntry = entry;
}

} // namespace

bool makePlan(const QVector<Fix> &fixes, const Options &options, Plan *plan, QString *error)
{
    const QDate date = QDate::fromString(options.date, Qt::ISODate);
    if (!date.isValid()) {
        *error = QStringLiteral("not a date: %1").arg(options.date);
        return false;
    }
    if (fixes.isEmpty()) {
        *error = QStringLiteral("no fixes");
        return false;
    }
    const Drive d(fixes, options, QDateTime(date, QTime(0, 0), Qt::UTC).toSecsSinceEpoch());
    const QString &layout = options.layout;
    const bool mov = options.container == "mov";
    const auto perSecond = [&](auto make) {
        for (int i = 0; i < d.size(); ++i)
            if (d.written(i))
                plan->items.append({i, make(i)});
    };

    if (layout == "novatek" || layout == "novatek-v3" || layout == "novatek-xor") {
        plan->kind = Plan::Blocks;
        plan->index = options.index;
        perSecond([&](int i) {
            return layout == "novatek"      ? novatekClassic(d, i)
                   : layout == "novatek-v3" ? novatekV3(d, i)
                                            : novatekXor(d, i);
        });
    } else if (layout == "gpmf" || layout == "gpmf9") {
        timedTrack(plan, "meta", "GoPro MET", box("gpmd", sampleEntryHead()));
        perSecond([&](int i) {
            return gpmfPayload(d, i, layout == "gpmf9", layout == "gpmf9" && options.gps5Beside);
        });
    } else if (layout == "texttrack" || layout == "texttrack-nextbase" || layout == "garmin" ||
               layout == "dji") {
        // exiftool decodes text samples only under the 'text' handler
        timedTrack(plan, "text", "SubtitleHandler", textEntry(mov));
        perSecond([&](int i) {
            return layout == "texttrack"            ? thinkwareSample(d, i)
                   : layout == "texttrack-nextbase" ? nextbaseSample(d, i)
                   : layout == "garmin"             ? garminSample(d, i)
                                                    : djiSample(d, i);
        });
    } else if (layout == "camm") {
        timedTrack(plan, "meta", "CameraMetadataMotionHandler", box("camm", sampleEntryHead()));
        perSecond([&](int i) {
            return cammSample(d, i, options.camm5, options.cammUnix, options.cammMotion);
        });
    } else if (layout == "blackvue") {
        plan->before = blackvueFree(d, options.largeSizes);
    } else if (layout == "70mai") {
        // in front of moov: exiftool reads it only outside a handler, and
        // the moov's udta leaves one set
        plan->beforeMoov = seventyMai(d, options.largeSizes);
    } else if (layout == "dji-srt") {
        plan->sideSuffix = ".SRT";
        plan->sideText = djiSrt(d);
    } else {
        *error = QStringLiteral("unknown layout %1 (one of %2)").arg(layout, layouts().join(", "));
        return false;
    }
    return true;
}

} // namespace detail
} // namespace embedgen
