#include "trackimport.h"

#include "embedded/nmeasentence.h"
#include "embedded/telemetry.h"
#include "linereader.h"
#include "tracklimits.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <algorithm>
#include <cmath>

namespace trackimport {

namespace {

using standardgpx::Point;

// As many as a GPX may hold: ten a second over the longest track.
constexpr int maxPoints = tracklimits::maxSamples * 10;
constexpr int maxDepth = 64;
constexpr int maxValueChars = 4096;

bool fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

bool inRange(double latitude, double longitude)
{
    return std::isfinite(latitude) && std::isfinite(longitude) && std::abs(latitude) <= 90.0 &&
           std::abs(longitude) <= 180.0;
}

// Values are quoted in messages only this far: a hostile line can be 1 MiB.
QString shown(const QString &text)
{
    return text.size() > 40 ? text.left(40) + QStringLiteral("...") : text;
}

QString tooMany()
{
    return QStringLiteral("more than %1 points").arg(maxPoints);
}

QString localName(const QStringRef &name)
{
    const int colon = name.lastIndexOf(QLatin1Char(':'));
    return (colon < 0 ? name : name.mid(colon + 1)).toString();
}

// ---- CSV -------------------------------------------------------------------

struct Columns
{
    QChar separator = QLatin1Char(',');
    int time = -1; // a date-time, or the time of day when `date` is set too
    int date = -1;
    int latitude = -1;
    int longitude = -1;
    int speed = -1;
    int altitude = -1;
    double toKmh = embedded::kmhPerMps; // what a bare "speed" is in phone exports
    double toMetres = 1.0;
    bool local = false;

    bool usable() const { return latitude >= 0 && longitude >= 0 && (time >= 0 || date >= 0); }
    int needed() const { return std::max({time, date, latitude, longitude, speed, altitude}) + 1; }
};

// Splits at the separator, with fields in double quotes kept whole.
void splitCsv(const QStringRef &line, QChar separator, QVector<QString> &out)
{
    out.clear();
    QString field;
    bool quoted = false;
    for (int i = 0; i < line.size() && out.size() < 1000; ++i) {
        const QChar c = line.at(i);
        if (quoted) {
            if (c != QLatin1Char('"'))
                field += c;
            else if (i + 1 < line.size() && line.at(i + 1) == QLatin1Char('"'))
                field += line.at(++i);
            else
                quoted = false;
        } else if (c == QLatin1Char('"')) {
            quoted = true;
        } else if (c == separator) {
            out.append(field.trimmed());
            field.clear();
        } else {
            field += c;
        }
    }
    out.append(field.trimmed());
}

bool isComment(const QStringRef &line)
{
    return line.trimmed().startsWith(QLatin1Char('#'));
}

Columns columnsOf(const QStringRef &header)
{
    Columns c;
    // The separator is the one the header uses most.
    int most = header.count(QLatin1Char(','));
    for (QChar s : {QLatin1Char(';'), QLatin1Char('\t')}) {
        if (header.count(s) > most) {
            most = header.count(s);
            c.separator = s;
        }
    }
    QVector<QString> names;
    splitCsv(header, c.separator, names);
    static const QRegularExpression word(QStringLiteral("^[a-z_ ]*"));
    bool dateInTime = false;
    for (int i = 0; i < names.size(); ++i) {
        const QString name = names[i].toLower();
        // "speed (km/h)": the word names the column, the rest its unit.
        const QString base = word.match(name).captured().trimmed();
        auto has = [&](const char *part) { return base.contains(QLatin1String(part)); };
        if (base.isEmpty())
            continue;
        if (c.latitude < 0 &&
            (base == QLatin1String("lat") || base.startsWith(QLatin1String("latitude")))) {
            c.latitude = i;
        } else if (c.longitude < 0 &&
                   (base == QLatin1String("lon") || base == QLatin1String("lng") ||
                    base == QLatin1String("long") || base.startsWith(QLatin1String("longitude")))) {
            c.longitude = i;
        } else if (has("elapsed") || has("duration") || has("zone") || has("offset")) {
            continue;
        } else if (has("date") && has("time")) {
            c.time = i; // one column holds both
            c.date = -1;
            dateInTime = true;
            c.local = name.contains(QLatin1String("local"));
        } else if (has("date") || base == QLatin1String("utc_d")) {
            if (c.date < 0 && !dateInTime) {
                c.date = i;
                c.local = c.local || name.contains(QLatin1String("local"));
            }
        } else if (has("time") || base == QLatin1String("utc_t") || base == QLatin1String("utc")) {
            if (c.time < 0) {
                c.time = i;
                c.local = c.local || name.contains(QLatin1String("local"));
            }
        } else if (c.speed < 0 && has("speed")) {
            c.speed = i;
            if (name.contains(QLatin1String("km/h")) || name.contains(QLatin1String("kmh")) ||
                name.contains(QLatin1String("kph")) || name.contains(QLatin1String("km_h")))
                c.toKmh = 1.0;
            else if (name.contains(QLatin1String("mph")))
                c.toKmh = embedded::kmhPerMph;
            else if (name.contains(QLatin1String("knot")) || name.contains(QLatin1String("kts")) ||
                     name.contains(QLatin1String("(kn)")) || name.endsWith(QLatin1String("_kn")))
                c.toKmh = embedded::kmhPerKnot;
        } else if (c.altitude < 0 &&
                   (base == QLatin1String("alt") || base.startsWith(QLatin1String("altitude")) ||
                    base == QLatin1String("ele") || base.startsWith(QLatin1String("elevation")) ||
                    base == QLatin1String("height"))) {
            c.altitude = i;
            if (name.contains(QLatin1String("(ft)")) || name.endsWith(QLatin1String("_ft")) ||
                name.endsWith(QLatin1String(" ft")) || name.contains(QLatin1String("feet")))
                c.toMetres = 0.3048;
        }
    }
    return c;
}

bool readNumber(QString text, QChar separator, double &value)
{
    // With ';' between fields a decimal comma is the usual mark.
    if (separator != QLatin1Char(','))
        text.replace(QLatin1Char(','), QLatin1Char('.'));
    bool ok = false;
    value = text.toDouble(&ok);
    return ok && std::isfinite(value);
}

// Seconds (10 digits) or milliseconds (13) since 1970, as some loggers keep
// them: times from 2001 to 2286, so that no other figure is taken for one.
QDateTime epochTime(const QString &text)
{
    static const QRegularExpression digits(QStringLiteral("^(\\d{10}|\\d{13})(\\.\\d+)?$"));
    const QRegularExpressionMatch m = digits.match(text.trimmed());
    if (!m.hasMatch())
        return QDateTime();
    const double value = text.trimmed().toDouble();
    return QDateTime::fromMSecsSinceEpoch(
        std::llround(m.capturedLength(1) == 10 ? value * 1000 : value), Qt::UTC);
}

bool readCsv(const QString &path, QVector<Point> &points, QString *error)
{
    LineReader lines(LineReader::KeepEmpty);
    if (!lines.open(path))
        return fail(error, QStringLiteral("cannot open %1").arg(path));
    QStringRef line;
    int number = 0;
    Columns c;
    while (lines.next(line)) {
        ++number;
        if (line.trimmed().isEmpty() || isComment(line))
            continue;
        c = columnsOf(line);
        break;
    }
    if (!c.usable())
        return fail(error, QStringLiteral("line %1: the header names no columns of time, latitude "
                                          "and longitude")
                               .arg(number));
    QVector<QString> f;
    while (lines.next(line)) {
        ++number;
        if (line.trimmed().isEmpty() || isComment(line))
            continue;
        if (lines.truncated())
            return fail(error, QStringLiteral("line %1 is too long").arg(number));
        splitCsv(line, c.separator, f);
        if (f.size() < c.needed())
            return fail(error, QStringLiteral("line %1: %2 fields where the header has %3")
                                   .arg(number)
                                   .arg(f.size())
                                   .arg(c.needed()));
        if (f[c.latitude].isEmpty() && f[c.longitude].isEmpty())
            continue; // a row without a fix
        Point p;
        if (!readNumber(f[c.latitude], c.separator, p.latitude) ||
            !readNumber(f[c.longitude], c.separator, p.longitude) ||
            !inRange(p.latitude, p.longitude))
            return fail(error, QStringLiteral("line %1: no position in \"%2\", \"%3\"")
                                   .arg(number)
                                   .arg(shown(f[c.latitude]), shown(f[c.longitude])));
        const QString when = c.date >= 0 && c.time >= 0 ? f[c.date] + QLatin1Char(' ') + f[c.time]
                             : c.time >= 0              ? f[c.time]
                                                        : f[c.date];
        p.time = epochTime(when);
        if (!p.time.isValid())
            p.time = parseTime(when, c.local);
        if (!p.time.isValid())
            return fail(
                error,
                QStringLiteral("line %1: no date and time in \"%2\"").arg(number).arg(shown(when)));
        double v = 0.0;
        if (c.speed >= 0 && !f[c.speed].isEmpty()) {
            if (!readNumber(f[c.speed], c.separator, v) || v < 0)
                return fail(error, QStringLiteral("line %1: no speed in \"%2\"")
                                       .arg(number)
                                       .arg(shown(f[c.speed])));
            p.speedKmh = v * c.toKmh;
        }
        if (c.altitude >= 0 && !f[c.altitude].isEmpty()) {
            if (!readNumber(f[c.altitude], c.separator, v))
                return fail(error, QStringLiteral("line %1: no altitude in \"%2\"")
                                       .arg(number)
                                       .arg(shown(f[c.altitude])));
            p.altitude = v * c.toMetres;
        }
        if (points.size() >= maxPoints)
            return fail(error, tooMany());
        points.append(p);
    }
    return true;
}

// ---- KML -------------------------------------------------------------------

// "lon,lat[,alt]" (a Point's first tuple) or "lon lat [alt]" (gx:coord).
bool coordinates(const QString &text, bool spaced, Point &p)
{
    static const QRegularExpression space(QStringLiteral("\\s+"));
    QString tuple = text.trimmed();
    if (!spaced)
        tuple = tuple.section(space, 0, 0);
    const QStringList parts = spaced ? tuple.split(space) : tuple.split(QLatin1Char(','));
    if (parts.size() < 2 || parts.size() > 3)
        return false;
    bool latOk = false, lonOk = false, altOk = true;
    p.longitude = parts[0].toDouble(&lonOk);
    p.latitude = parts[1].toDouble(&latOk);
    if (parts.size() == 3 && !parts[2].isEmpty())
        p.altitude = parts[2].toDouble(&altOk);
    return latOk && lonOk && altOk && inRange(p.latitude, p.longitude);
}

bool readKml(const QString &path, QVector<Point> &points, QString *error)
{
    DecodedFile text;
    if (!text.open(path))
        return fail(error, QStringLiteral("cannot open %1").arg(path));
    QXmlStreamReader xml;
    xml.setNamespaceProcessing(false); // "gx:" is read as part of the name
    QStringList open;                  // the local names of the open elements
    QString value;
    bool collecting = false;
    // A gx:Track lists its times, then its places: joined in order at its end.
    bool inTrack = false;
    QVector<QDateTime> whens;
    QVector<Point> places;
    // Placemarks count only while no gx:Track is found: a program that
    // writes both writes the same points twice.
    QVector<Point> marks;
    bool inMark = false;
    Point mark;
    bool markPlaced = false;
    auto above = [&](int levels) {
        return open.size() > levels ? open.at(open.size() - 1 - levels) : QString();
    };
    for (;;) {
        const QXmlStreamReader::TokenType token = nextToken(xml, text);
        if (token == QXmlStreamReader::Invalid) {
            return fail(error, QStringLiteral("line %1, column %2: %3")
                                   .arg(xml.lineNumber())
                                   .arg(xml.columnNumber())
                                   .arg(xml.errorString()));
        }
        if (token == QXmlStreamReader::EndDocument)
            break;
        if (token == QXmlStreamReader::StartElement) {
            if (open.size() >= maxDepth)
                return fail(error,
                            QStringLiteral("line %1: nested too deep").arg(xml.lineNumber()));
            const QString name = localName(xml.name());
            open.append(name);
            if (name == QLatin1String("Track")) {
                inTrack = true;
                whens.clear();
                places.clear();
            } else if (name == QLatin1String("Placemark")) {
                inMark = true;
                mark = Point{};
                markPlaced = false;
            }
            collecting = name == QLatin1String("when") || name == QLatin1String("coord") ||
                         name == QLatin1String("coordinates");
            value.clear();
        } else if (token == QXmlStreamReader::Characters) {
            if (collecting && value.size() < maxValueChars)
                value += xml.text().left(maxValueChars);
        } else if (token == QXmlStreamReader::EndElement && !open.isEmpty()) {
            const QString name = open.last();
            const qint64 line = xml.lineNumber();
            if (name == QLatin1String("when") &&
                (inTrack || (inMark && above(1) == QLatin1String("TimeStamp") &&
                             above(2) == QLatin1String("Placemark")))) {
                const QDateTime t = parseTime(value);
                if (!t.isValid())
                    return fail(error, QStringLiteral("line %1: no date and time in \"%2\"")
                                           .arg(line)
                                           .arg(shown(value.trimmed())));
                if (inTrack)
                    whens.append(t);
                else
                    mark.time = t;
            } else if (name == QLatin1String("coord") && inTrack) {
                Point p;
                if (!coordinates(value, true, p))
                    return fail(error, QStringLiteral("line %1: no position in \"%2\"")
                                           .arg(line)
                                           .arg(shown(value.trimmed())));
                places.append(p);
            } else if (name == QLatin1String("coordinates") && inMark && !inTrack &&
                       above(1) == QLatin1String("Point")) {
                if (!coordinates(value, false, mark))
                    return fail(error, QStringLiteral("line %1: no position in \"%2\"")
                                           .arg(line)
                                           .arg(shown(value.trimmed())));
                markPlaced = true;
            } else if (name == QLatin1String("Track")) {
                if (whens.size() != places.size())
                    return fail(error, QStringLiteral("line %1: the track has %2 times and %3 "
                                                      "positions")
                                           .arg(line)
                                           .arg(whens.size())
                                           .arg(places.size()));
                for (int i = 0; i < places.size(); ++i) {
                    places[i].time = whens[i];
                    points.append(places[i]);
                }
                inTrack = false;
                whens.clear();
                places.clear();
            } else if (name == QLatin1String("Placemark")) {
                if (mark.time.isValid() && markPlaced && points.isEmpty())
                    marks.append(mark);
                inMark = false;
            }
            if (points.size() + whens.size() + places.size() + marks.size() > maxPoints)
                return fail(error, tooMany());
            open.removeLast();
            collecting = false;
        }
    }
    if (points.isEmpty())
        points = marks;
    return true;
}

// ---- NMEA ------------------------------------------------------------------

// "hhmmss[.sss]" as ms into the day, read as the RMC reader reads it so that
// the two sentences of one fix give the same number; -1 when it is none.
int timeOfDay(const QString &sentence)
{
    const QStringRef t = sentence.splitRef(QLatin1Char(',')).value(1);
    if (t.size() < 6)
        return -1;
    const QTime time(t.left(2).toInt(), t.mid(2, 2).toInt(), t.mid(4, 2).toInt());
    if (!time.isValid())
        return -1;
    double fraction = t.size() > 7 ? t.mid(6).toDouble() : 0.0;
    if (!(fraction >= 0.0 && fraction < 1.0))
        fraction = 0.0;
    return time.msecsSinceStartOfDay() + int(qint64(fraction * 1000));
}

bool readNmea(const QString &path, QVector<Point> &points, QString *error)
{
    LineReader lines(LineReader::KeepEmpty);
    if (!lines.open(path))
        return fail(error, QStringLiteral("cannot open %1").arg(path));
    // The GGA of a fix comes just before or after its RMC: the last few of
    // each are kept to join them by their time of day.
    struct Recent
    {
        int timeOfDay;
        int index;       // of the point, for an RMC
        double altitude; // for a GGA
    };
    QVector<Recent> recentRmc;
    QVector<Recent> recentGga;
    auto remember = [](QVector<Recent> &list, const Recent &r) {
        if (list.size() >= 8)
            list.removeFirst();
        list.append(r);
    };
    QStringRef line;
    int number = 0;
    int firstBad = 0;
    int undated = 0;
    while (lines.next(line)) {
        ++number;
        if (!line.contains(QLatin1Char('$')))
            continue;
        const QStringList sentences = embedded::nmea::sentences(line.toString());
        for (const QString &s : sentences) {
            if (!s.startsWith(QLatin1Char('$')) || s.size() < 7)
                continue;
            const QStringRef type = s.midRef(3, 3);
            embedded::Fix fix;
            if (type == QLatin1String("RMC")) {
                if (lines.truncated() ||
                    !embedded::nmea::readRmc(s, fix, embedded::nmea::Checksum::IfPresent)) {
                    firstBad = firstBad ? firstBad : number;
                    continue;
                }
                if (!fix.valid || !inRange(fix.latitude, fix.longitude))
                    continue;
                if (fix.clockMs < 0) {
                    ++undated;
                    continue;
                }
                if (points.size() >= maxPoints)
                    return fail(error, tooMany());
                Point p;
                p.time = QDateTime::fromMSecsSinceEpoch(fix.clockMs, Qt::UTC);
                p.latitude = fix.latitude;
                p.longitude = fix.longitude;
                p.speedKmh = fix.speedKmh;
                const int at = int(fix.clockMs % 86400000);
                for (const Recent &g : qAsConst(recentGga))
                    if (g.timeOfDay == at)
                        p.altitude = g.altitude;
                remember(recentRmc, {at, points.size(), 0.0});
                points.append(p);
            } else if (type == QLatin1String("GGA")) {
                if (lines.truncated() ||
                    !embedded::nmea::readGga(s, fix, embedded::nmea::Checksum::IfPresent)) {
                    firstBad = firstBad ? firstBad : number;
                    continue;
                }
                const int at = timeOfDay(s);
                if (!std::isfinite(fix.altitude) || at < 0)
                    continue;
                bool joined = false;
                for (const Recent &r : qAsConst(recentRmc)) {
                    if (r.timeOfDay == at) {
                        points[r.index].altitude = fix.altitude;
                        joined = true;
                    }
                }
                if (!joined)
                    remember(recentGga, {at, -1, fix.altitude});
            }
        }
    }
    if (!points.isEmpty())
        return true;
    if (firstBad)
        return fail(error, QStringLiteral("no usable fix; line %1 is no complete sentence or "
                                          "fails its checksum")
                               .arg(firstBad));
    if (undated)
        return fail(error, QStringLiteral("its $GPRMC sentences have no date"));
    return fail(error, QStringLiteral("no $GPRMC sentence with a fix"));
}

// ---- kinds -----------------------------------------------------------------

Format detectText(const QString &head)
{
    int i = 0;
    while (i < head.size() && (head.at(i).isSpace() || head.at(i) == QChar(0xFEFF)))
        ++i;
    if (i < head.size() && head.at(i) == QLatin1Char('<')) {
        QXmlStreamReader xml(head);
        xml.setNamespaceProcessing(false);
        while (!xml.atEnd()) {
            const QXmlStreamReader::TokenType token = xml.readNext();
            if (token == QXmlStreamReader::Invalid)
                break;
            if (token == QXmlStreamReader::StartElement) {
                const QString root = localName(xml.name()).toLower();
                if (root == QLatin1String("gpx"))
                    return Format::Gpx;
                if (root == QLatin1String("kml"))
                    return Format::Kml;
                break;
            }
        }
        return Format::Unknown;
    }
    const QVector<QStringRef> lines = head.midRef(i).split(QLatin1Char('\n'));
    static const QRegularExpression sentence(QStringLiteral("\\$[A-Z]{5},"));
    for (int k = 0; k < lines.size() && k < 50; ++k)
        if (sentence.match(lines[k]).hasMatch())
            return Format::Nmea;
    for (const QStringRef &line : lines) {
        if (line.trimmed().isEmpty() || isComment(line))
            continue;
        return columnsOf(line).usable() ? Format::Csv : Format::Unknown;
    }
    return Format::Unknown;
}

} // namespace

QString formatName(Format format)
{
    switch (format) {
    case Format::Gpx:
        return QStringLiteral("gpx");
    case Format::Kml:
        return QStringLiteral("kml");
    case Format::Csv:
        return QStringLiteral("csv");
    case Format::Nmea:
        return QStringLiteral("nmea");
    case Format::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}

Format detect(const QString &path)
{
    DecodedFile file;
    QString head;
    if (!file.open(path) || !file.read(head))
        return Format::Unknown;
    return detectText(head);
}

QDateTime parseTime(const QString &input, bool local)
{
    QString text = input.trimmed();
    if (text.size() >= 2 && text.startsWith(QLatin1Char('"')) && text.endsWith(QLatin1Char('"')))
        text = text.mid(1, text.size() - 2).trimmed();
    if (text.endsWith(QLatin1String(" UTC"), Qt::CaseInsensitive)) {
        text.chop(4);
        text += QLatin1Char('Z');
    }
    if (text.size() <= 10 || text.size() > 40)
        return QDateTime(); // a date alone places nothing
    if (text.at(4) == QLatin1Char('/') && text.at(7) == QLatin1Char('/')) {
        text[4] = QLatin1Char('-');
        text[7] = QLatin1Char('-');
    }
    if (text.at(10) == QLatin1Char(' '))
        text[10] = QLatin1Char('T');
    QDateTime t = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!t.isValid())
        return QDateTime();
    if (t.timeSpec() == Qt::LocalTime && !local)
        t.setTimeSpec(Qt::UTC);
    return t.toUTC();
}

bool read(const QString &path, QVector<Point> &points, QString *error, Format *format)
{
    points.clear();
    if (format)
        *format = Format::Unknown;
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable())
        return fail(error, QStringLiteral("cannot open %1").arg(path));
    if (!tracklimits::fileSizeAcceptable(path, "track import"))
        return fail(error, QStringLiteral("%1 is larger than a track file can be (%2 MiB)")
                               .arg(info.fileName())
                               .arg(tracklimits::maxFileBytes >> 20));
    const Format kind = detect(path);
    if (format)
        *format = kind;
    QString why;
    bool ok = false;
    switch (kind) {
    case Format::Gpx:
        ok = standardgpx::read(path, points, &why);
        break;
    case Format::Kml:
        ok = readKml(path, points, &why);
        break;
    case Format::Csv:
        ok = readCsv(path, points, &why);
        break;
    case Format::Nmea:
        ok = readNmea(path, points, &why);
        break;
    case Format::Unknown:
        why = QStringLiteral("not a track file: neither GPX, KML, NMEA, nor CSV with a header "
                             "naming time, latitude and longitude");
        break;
    }
    // GPX points are not checked as they are read: places no receiver gives
    // are left out here.
    points.erase(std::remove_if(points.begin(), points.end(),
                                [](const Point &p) { return !inRange(p.latitude, p.longitude); }),
                 points.end());
    if (ok && points.isEmpty())
        why = QStringLiteral("no point with a date and time");
    if (!ok || points.isEmpty()) {
        points.clear();
        return fail(
            error,
            QStringLiteral("%1 (%2): %3").arg(info.fileName(), formatName(kind).toUpper(), why));
    }
    std::stable_sort(points.begin(), points.end(),
                     [](const Point &a, const Point &b) { return a.time < b.time; });
    return true;
}

} // namespace trackimport
