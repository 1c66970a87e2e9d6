#include "texttrackreader.h"

#include "container.h"
#include "linereader.h"
#include "nmeasentence.h"
#include "simplereaders.h"
#include "tracklimits.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace embedded {

namespace {

constexpr int nextbaseSize = 288;
constexpr qint64 textBytes = 64 * 1024; // far beyond any subtitle sample

bool nextbaseSample(const QByteArray &sample)
{
    Bytes b(sample);
    return sample.size() == nextbaseSize && b.u16(0) == nextbaseSize && b.ok;
}

// Local "YYYYMMDDhhmmss" text as ms on the wall clock.
qint64 wallClockMs(const QString &text, const QString &format)
{
    const QDateTime t = QDateTime::fromString(text, format);
    if (!t.isValid())
        return -1;
    return QDateTime(t.date(), t.time(), Qt::UTC).toMSecsSinceEpoch();
}

} // namespace

// ---- NMEA text -----------------------------------------------------------

const char *TextTrackReader::description() const
{
    return "NMEA in text/tx3g tracks: Thinkware (gsensori;GNRMC), Nextbase 322GW to 622GW binary "
           "samples, $GNRMC text";
}

TextTrackReader::Kind TextTrackReader::classify(const QByteArray &sample)
{
    if (nextbaseSample(sample))
        return Kind::Nextbase;
    const QString text = QString::fromLatin1(sampleText(sample)).trimmed();
    if (text.isEmpty())
        return Kind::None;
    // What the subtitle path turns into a track: $GPRMC sentences and the
    // converted "A,"/"B," lines.
    if (text.startsWith(QLatin1String("$GPRMC,")) || text.startsWith(QLatin1String("A,")) ||
        text.startsWith(QLatin1String("B,")))
        return Kind::SubtitlePath;
    static const QRegularExpression rmc(QStringLiteral("(^|[;$\\s])[A-Z]{2}RMC,"));
    return rmc.match(text).hasMatch() ? Kind::Nmea : Kind::None;
}

bool TextTrackReader::decode(const QByteArray &sample, Kind kind, Fix &fix)
{
    if (kind == Kind::Nextbase) {
        if (!nextbaseSample(sample))
            return false;
        Bytes b(sample);
        const QString camera = QString::fromLatin1(sample.mid(6, 14));
        const QString rmc = QString::fromLatin1(sample.mid(32, 128)).section(QChar(0), 0, 0);
        const QString gga = QString::fromLatin1(sample.mid(160, 128)).section(QChar(0), 0, 0);
        if (!nmea::readRmc(rmc, fix, nmea::Checksum::Ignored))
            return false;
        nmea::readGga(gga, fix, nmea::Checksum::Ignored);
        // The camera's own clock is local time; the sentence's is UTC.
        if (fix.clockMs < 0)
            fix.clockMs = wallClockMs(camera, QStringLiteral("yyyyMMddhhmmss"));
        for (int i = 0; i < 3; ++i)
            fix.accel[i] = std::int32_t(b.u32le(20 + 4 * i)) / 256.0;
        return true;
    }
    bool any = false;
    for (const QString &s : nmea::sentences(QString::fromLatin1(sampleText(sample)))) {
        if (nmea::readRmc(s, fix, nmea::Checksum::IfPresent))
            any = true;
        else
            nmea::readGga(s, fix, nmea::Checksum::IfPresent);
    }
    return any;
}

Outcome TextTrackReader::read(Container &file, Telemetry &out)
{
    out.source = source();
    out.clock = Clock::Utc;
    Kind kind = Kind::None;
    const auto each = [&](const Sample &s, const QByteArray &data) {
        if (kind == Kind::None) {
            kind = classify(data);
            if (kind == Kind::SubtitlePath)
                return Verdict::Deferred;
            if (kind == Kind::None) // empty samples may come before the first fix
                return data.size() <= 2 ? Verdict::Taken : Verdict::NotThisTrack;
        }
        Fix f;
        f.at = s.time;
        if (!decode(data, kind, f))
            f.valid = false;
        if (out.fixes.size() < tracklimits::maxSamples * 20)
            out.fixes.append(f);
        return Verdict::Taken;
    };
    return eachSample(file, out, isTextTrack, each, textBytes);
}

// ---- DJI -----------------------------------------------------------------

const char *DjiReader::description() const
{
    return "DJI: the NAME.SRT of newer drones ([latitude: ..] [longitude: ..]), the older drones' "
           "subtitle text GPS (lon, lat, alt)";
}

bool DjiReader::decodeText(const QString &text, Fix &fix)
{
    // "[latitude : x] [longtitude : y]": the misspelling is the drones' own.
    static const QRegularExpression named(QStringLiteral(
        "\\[latitude\\s*:\\s*([-+]?[0-9.]+)\\]\\s*\\[longt?itude\\s*:\\s*([-+]?[0-9.]+)\\]"));
    // "GPS (lon, lat, alt)", "GPS(lon,lat,alt) BAROMETER:h" after HOME(lon,lat),
    // and "GPS(lat,lon,altM) BAROMETER:hM": the layout with metres marked
    // puts latitude first. Values alone cannot tell where both are under 90.
    static const QRegularExpression paren(QStringLiteral(
        "GPS\\s*\\(\\s*([-+]?[0-9.]+)\\s*,\\s*([-+]?[0-9.]+)\\s*(?:,\\s*([-+]?[0-9.]+)\\s*(M?))?"));
    static const QRegularExpression altitude(
        QStringLiteral("(?:abs_alt|altitude)\\s*:\\s*([-+]?[0-9.]+)"));
    static const QRegularExpression hSpeed(QStringLiteral("H\\.S\\s*([-+]?[0-9.]+)\\s*m/s"));
    static const QRegularExpression when(QStringLiteral(
        "(\\d{4})[-.](\\d{2})[-.](\\d{2})\\s+(\\d{2}):(\\d{2}):(\\d{2})(?:[.,](\\d{1,3}))?"));

    if (const QRegularExpressionMatch m = named.match(text); m.hasMatch()) {
        fix.latitude = m.captured(1).toDouble();
        fix.longitude = m.captured(2).toDouble();
        if (const QRegularExpressionMatch a = altitude.match(text); a.hasMatch())
            fix.altitude = a.captured(1).toDouble();
    } else if (const QRegularExpressionMatch o = paren.match(text); o.hasMatch()) {
        const bool latitudeFirst = !o.captured(4).isEmpty();
        fix.latitude = o.captured(latitudeFirst ? 1 : 2).toDouble();
        fix.longitude = o.captured(latitudeFirst ? 2 : 1).toDouble();
        if (!o.captured(3).isEmpty())
            fix.altitude = o.captured(3).toDouble();
    } else {
        return false;
    }
    if (const QRegularExpressionMatch s = hSpeed.match(text); s.hasMatch())
        fix.speedKmh = std::abs(s.captured(1).toDouble()) * kmhPerMps;
    if (const QRegularExpressionMatch w = when.match(text); w.hasMatch()) {
        const QDate d(w.captured(1).toInt(), w.captured(2).toInt(), w.captured(3).toInt());
        const QTime t(w.captured(4).toInt(), w.captured(5).toInt(), w.captured(6).toInt(),
                      w.captured(7).leftJustified(3, QLatin1Char('0')).toInt());
        if (d.isValid() && t.isValid())
            fix.clockMs = QDateTime(d, t, Qt::UTC).toMSecsSinceEpoch();
    }
    fix.valid = true;
    return true;
}

namespace {

double srtSeconds(const QStringRef &t)
{
    // hh:mm:ss,mmm
    static const QRegularExpression time(QStringLiteral("^(\\d+):(\\d{2}):(\\d{2})[,.](\\d{1,3})"));
    const QRegularExpressionMatch m = time.match(t.trimmed().toString());
    if (!m.hasMatch())
        return -1.0;
    return m.captured(1).toInt() * 3600 + m.captured(2).toInt() * 60 + m.captured(3).toInt() +
           m.captured(4).leftJustified(3, QLatin1Char('0')).toInt() / 1000.0;
}

} // namespace

Outcome DjiReader::read(Container &file, Telemetry &out)
{
    out.source = source();
    out.clock = Clock::Local;
    bool checked = false;
    const auto each = [&](const Sample &s, const QByteArray &data) {
        Fix f;
        f.at = s.time;
        const bool has = decodeText(QString::fromUtf8(sampleText(data)), f);
        if (!checked) {
            if (!has)
                return data.size() <= 2 ? Verdict::Taken : Verdict::NotThisTrack;
            checked = true;
        }
        if (out.fixes.size() < tracklimits::maxSamples * 20)
            out.fixes.append(f);
        return Verdict::Taken;
    };
    const Outcome o = eachSample(file, out, isTextTrack, each, textBytes);
    if (o == Outcome::Read)
        speedsFromPositions(out.fixes);
    return o;
}

QString DjiReader::sideFile(const QString &videoPath)
{
    const QFileInfo video(videoPath);
    const QString base = video.dir().filePath(video.completeBaseName());
    for (const char *suffix : {".SRT", ".srt"}) {
        QFile f(base + suffix);
        if (!f.open(QIODevice::ReadOnly))
            continue;
        // A flight record says so within its first blocks; a user's own
        // subtitles do not.
        const QByteArray head = f.read(4096);
        if (head.contains("[latitude") || head.contains("[longitude") ||
            head.contains("[longtitude") || (head.contains("GPS (") && head.contains("H.S")) ||
            (head.contains("GPS(") && head.contains("BAROMETER")))
            return f.fileName();
    }
    return QString();
}

Outcome DjiReader::readSideFile(const QString &srtPath, Telemetry &out)
{
    out.source = QStringLiteral("dji");
    out.clock = Clock::Local;
    if (!tracklimits::fileSizeAcceptable(srtPath, "DJI SRT")) {
        out.error = QStringLiteral("%1 is too large for a flight record").arg(srtPath);
        return Outcome::Refused;
    }
    LineReader lines(LineReader::KeepEmpty);
    if (!lines.open(srtPath)) {
        out.error = QStringLiteral("cannot read %1").arg(srtPath);
        return Outcome::Refused;
    }
    QStringRef line;
    double start = -1.0;
    QString text;
    auto flush = [&] {
        Fix f;
        f.at = start;
        if (start >= 0 && decodeText(text, f) && out.fixes.size() < tracklimits::maxSamples * 40)
            out.fixes.append(f);
        start = -1.0;
        text.clear();
    };
    while (lines.next(line)) {
        const int arrow = line.indexOf(QLatin1String("-->"));
        if (arrow > 0) {
            flush();
            start = srtSeconds(line.left(arrow));
        } else if (line.trimmed().isEmpty()) {
            flush();
        } else if (start >= 0 && text.size() < 4096) {
            text += line;
            text += QLatin1Char(' ');
        }
    }
    flush();
    if (out.fixes.isEmpty()) {
        out.error = QStringLiteral("%1 holds no position").arg(srtPath);
        return Outcome::Refused;
    }
    speedsFromPositions(out.fixes);
    return Outcome::Read;
}

} // namespace embedded
