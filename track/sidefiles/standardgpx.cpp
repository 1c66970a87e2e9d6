#include "standardgpx.h"

#include "embedded/container.h"
#include "linereader.h"
#include "tracklimits.h"
#include "trip.h"

#include <QDebug>
#include <QFile>
#include <QXmlStreamReader>
#include <algorithm>
#include <cmath>

namespace standardgpx {

namespace {

bool isPoint(const QStringRef &name)
{
    return name == QLatin1String("trkpt") || name == QLatin1String("rtept") ||
           name == QLatin1String("wpt");
}

// Reads the document piece by piece; `each` sees every point with a time
// and returns false to stop early.
template <typename Each> bool walk(const QString &path, Each each, QString *error)
{
    if (!tracklimits::fileSizeAcceptable(path, "GPX"))
        return false;
    DecodedFile text;
    if (!text.open(path)) {
        if (error)
            *error = QStringLiteral("cannot open %1").arg(path);
        return false;
    }
    QXmlStreamReader xml;
    xml.setNamespaceProcessing(false); // prefixes are read as part of the name
    Point point;
    bool inPoint = false;
    QString field; // the child of a point being read
    QString value;
    int depth = 0;
    for (;;) {
        const QXmlStreamReader::TokenType token = nextToken(xml, text);
        if (token == QXmlStreamReader::Invalid) {
            if (error)
                *error = QStringLiteral("%1 at line %2, column %3")
                             .arg(xml.errorString())
                             .arg(xml.lineNumber())
                             .arg(xml.columnNumber());
            return false;
        }
        switch (token) {
        case QXmlStreamReader::StartElement:
            if (++depth > 64) {
                if (error)
                    *error = QStringLiteral("nested too deep at line %1").arg(xml.lineNumber());
                return false;
            }
            if (isPoint(xml.name())) {
                inPoint = true;
                point = Point{};
                bool latOk = false, lonOk = false;
                point.latitude = xml.attributes().value(QLatin1String("lat")).toDouble(&latOk);
                point.longitude = xml.attributes().value(QLatin1String("lon")).toDouble(&lonOk);
                if (!latOk || !lonOk)
                    point.latitude = point.longitude = embedded::Fix::none;
            } else if (inPoint) {
                field = xml.name().toString();
                value.clear();
            }
            break;
        case QXmlStreamReader::Characters:
            if (inPoint && !field.isEmpty() && value.size() < 256)
                value += xml.text();
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            if (isPoint(xml.name())) {
                inPoint = false;
                if (point.time.isValid() && std::isfinite(point.latitude) &&
                    std::isfinite(point.longitude) && !each(point))
                    return true;
            } else if (inPoint && xml.name() == field) {
                const QString v = value.trimmed();
                if (field == QLatin1String("time"))
                    point.time = QDateTime::fromString(v, Qt::ISODateWithMs).toUTC();
                else if (field == QLatin1String("speed"))
                    point.speedKmh = v.toDouble() * embedded::kmhPerMps;
                else if (field == QLatin1String("ele"))
                    point.altitude = v.toDouble();
                field.clear();
            }
            break;
        case QXmlStreamReader::EndDocument:
            return true;
        default:
            break;
        }
    }
}

} // namespace

bool read(const QString &path, QVector<Point> &points, QString *error)
{
    points.clear();
    bool tooMany = false;
    const bool ok = walk(
        path,
        [&](const Point &p) {
            if (points.size() >= tracklimits::maxSamples * 10) {
                tooMany = true;
                return false;
            }
            points.append(p);
            return true;
        },
        error);
    if (tooMany) {
        if (error)
            *error = QStringLiteral("more than %1 points").arg(tracklimits::maxSamples * 10);
        return false;
    }
    std::stable_sort(points.begin(), points.end(),
                     [](const Point &a, const Point &b) { return a.time < b.time; });
    return ok;
}

QDateTime videoStart(const QString &videoPath, double *duration)
{
    embedded::Container container;
    const bool mp4 = container.open(videoPath);
    if (duration)
        *duration = mp4 ? container.duration() : 0.0;
    if (mp4 && container.creationTime > 0)
        return QDateTime::fromSecsSinceEpoch(container.creationTime, Qt::UTC);
    const QDateTime named = trip::timeFromName(videoPath);
    if (!named.isValid())
        return QDateTime();
    // A name holds the camera's local time.
    return QDateTime(named.date(), named.time(), Qt::LocalTime).toUTC();
}

void place(const QVector<Point> &points, const QDateTime &start, int seconds,
           embedded::Telemetry &out)
{
    out.source = QStringLiteral("gpx");
    out.clock = embedded::Clock::Utc;
    if (points.isEmpty() || !start.isValid())
        return;
    const qint64 startMs = start.toMSecsSinceEpoch();
    if (seconds <= 0)
        seconds =
            int(std::min<qint64>((points.last().time.toMSecsSinceEpoch() - startMs) / 1000 + 1,
                                 tracklimits::maxSamples));
    int next = 0; // first point at or after the moment
    for (int k = 0; k < seconds; ++k) {
        const qint64 at = startMs + qint64(k) * 1000;
        while (next < points.size() && points[next].time.toMSecsSinceEpoch() < at)
            ++next;
        embedded::Fix f;
        f.at = k;
        f.clockMs = at;
        const Point *after = next < points.size() ? &points[next] : nullptr;
        const Point *before = next > 0 ? &points[next - 1] : nullptr;
        const qint64 afterMs = after ? after->time.toMSecsSinceEpoch() : 0;
        if (after && afterMs == at) {
            before = after;
        } else if (!before || !after ||
                   double(afterMs - before->time.toMSecsSinceEpoch()) / 1000.0 > maxGap) {
            out.fixes.append(f); // no point close enough: no fix this second
            continue;
        }
        const qint64 beforeMs = before->time.toMSecsSinceEpoch();
        const double w =
            after && afterMs > beforeMs ? double(at - beforeMs) / (afterMs - beforeMs) : 0.0;
        const Point &b = *before;
        const Point &a = after ? *after : *before;
        f.latitude = b.latitude + (a.latitude - b.latitude) * w;
        f.longitude = b.longitude + (a.longitude - b.longitude) * w;
        if (std::isfinite(b.speedKmh) && std::isfinite(a.speedKmh))
            f.speedKmh = b.speedKmh + (a.speedKmh - b.speedKmh) * w;
        if (std::isfinite(b.altitude) && std::isfinite(a.altitude))
            f.altitude = b.altitude + (a.altitude - b.altitude) * w;
        f.valid = true;
        out.fixes.append(f);
    }
    // Points without <speed>: from the positions.
    for (embedded::Fix &f : out.fixes)
        if (!std::isfinite(f.speedKmh))
            f.speedKmh = 0.0;
    embedded::speedsFromPositions(out.fixes);
}

} // namespace standardgpx
