#include "exporters.h"

#include "jsonwriter.h"

#include <cmath>

namespace exporters {
namespace {

using out::number;

// "YYYY-MM-DD", or empty when the source carried no date.
QString isoDate(const VideoInfo &s)
{
    const QString d = s.date;
    if (d.size() != 10 || d == QLatin1String("FFFF:FF:FF"))
        return QString();
    return d.left(4) + '-' + d.mid(5, 2) + '-' + d.mid(8, 2);
}

// "YYYY-MM-DDThh:mm:ss", or empty without a date.
QString isoTime(const VideoInfo &s)
{
    const QString date = isoDate(s);
    return date.isEmpty() ? date : date + 'T' + s.time;
}

// Speeds to the metre an hour: the sources hold no finer ones, and 17 digits
// of a converted knot value only look precise.
std::string speed(double kmh)
{
    return number(std::round(kmh * 1000.0) / 1000.0);
}

QVector<Segment> withPoints(const QVector<Segment> &segments)
{
    QVector<Segment> kept;
    for (const Segment &s : segments)
        if (!s.points.isEmpty())
            kept << s;
    return kept;
}

// A field quoted only where a comma, quote or line end would break the row.
std::string csvField(const QString &text)
{
    const std::string s = text.toStdString();
    if (s.find_first_of(",\"\r\n") == std::string::npos)
        return s;
    std::string quoted = "\"";
    for (const char c : s) {
        quoted += c;
        if (c == '"')
            quoted += '"';
    }
    return quoted + '"';
}

void csvRow(const Point &p, std::ostream &os)
{
    const VideoInfo &s = *p.sample;
    os << p.second << ',' << isoDate(s).toStdString() << ',' << s.time.toStdString() << ','
       << number(s.signedLatitude()) << ',' << number(s.signedLongitude()) << ',' << speed(s.speed)
       << '\n';
}

void writeCsv(const QVector<Point> &points, std::ostream &os)
{
    os << "second,date,time,latitude,longitude,speed_kmh\n";
    for (const Point &p : points)
        csvRow(p, os);
}

void writeCsvSegments(const QVector<Segment> &segments, std::ostream &os)
{
    os << "clip,second,date,time,latitude,longitude,speed_kmh\n";
    for (const Segment &segment : segments) {
        const std::string clip = csvField(segment.name);
        for (const Point &p : segment.points) {
            os << clip << ',';
            csvRow(p, os);
        }
    }
}

void gpxHead(const QString &title, std::ostream &os)
{
    os << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
          "<gpx version=\"1.1\" creator=\"velomar-track\" "
          "xmlns=\"http://www.topografix.com/GPX/1/1\" xmlns:vm=\"urn:velomar:track:1\">\n"
          " <trk>\n  <name>"
       << out::xmlText(title) << "</name>\n";
}

void gpxPoint(const Point &p, std::ostream &os)
{
    const VideoInfo &s = *p.sample;
    os << "   <trkpt lat=\"" << number(s.signedLatitude()) << "\" lon=\""
       << number(s.signedLongitude()) << "\">";
    const QString time = isoTime(s);
    if (!time.isEmpty())
        os << "<time>" << out::xmlText(time) << "Z</time>"; // GPX times are UTC
    // GPX 1.1 has no speed; the clock time stays even without a date.
    os << "<extensions><vm:second>" << p.second << "</vm:second><vm:time>" << out::xmlText(s.time)
       << "</vm:time><vm:speed unit=\"km/h\">" << speed(s.speed)
       << "</vm:speed></extensions></trkpt>\n";
}

void writeGpx(const QString &title, const QVector<Point> &points, std::ostream &os)
{
    gpxHead(title, os);
    os << "  <trkseg>\n";
    for (const Point &p : points)
        gpxPoint(p, os);
    os << "  </trkseg>\n </trk>\n</gpx>\n";
}

void writeGpxSegments(const QString &title, const QVector<Segment> &segments, std::ostream &os)
{
    gpxHead(title, os);
    for (const Segment &segment : segments) {
        os << "  <trkseg>\n";
        for (const Point &p : segment.points)
            gpxPoint(p, os);
        // A segment has no name in GPX 1.1; its extensions follow the points.
        os << "   <extensions><vm:clip>" << out::xmlText(segment.name)
           << "</vm:clip></extensions>\n  </trkseg>\n";
    }
    os << " </trk>\n</gpx>\n";
}

template <typename F> void jsonArray(std::ostream &os, const QVector<Point> &points, F item)
{
    os << '[';
    for (int i = 0; i < points.size(); ++i) {
        if (i)
            os << ',';
        item(*points[i].sample, points[i].second);
    }
    os << ']';
}

void geoJsonPosition(const VideoInfo &s, std::ostream &os)
{
    os << '[' << number(s.signedLongitude()) << ',' << number(s.signedLatitude()) << ']';
}

// A LineString needs two positions: a lone one is written as a Point where
// asked.
void geoJsonFeature(const QString &name, const QVector<Point> &points, bool lonePointAsPoint,
                    std::ostream &os)
{
    os << "{\"type\":\"Feature\",\"geometry\":{";
    if (lonePointAsPoint && points.size() == 1) {
        os << "\"type\":\"Point\",\"coordinates\":";
        geoJsonPosition(*points.first().sample, os);
    } else {
        os << "\"type\":\"LineString\",\"coordinates\":";
        jsonArray(os, points, [&os](const VideoInfo &s, int) { geoJsonPosition(s, os); });
    }
    os << "},\"properties\":{\"name\":" << out::jsonString(name) << ",\"seconds\":";
    jsonArray(os, points, [&os](const VideoInfo &, int second) { os << second; });
    os << ",\"dates\":";
    jsonArray(os, points, [&os](const VideoInfo &s, int) { os << out::jsonString(isoDate(s)); });
    os << ",\"times\":";
    jsonArray(os, points, [&os](const VideoInfo &s, int) { os << out::jsonString(s.time); });
    os << ",\"speed_kmh\":";
    jsonArray(os, points, [&os](const VideoInfo &s, int) { os << speed(s.speed); });
    os << "}}";
}

void writeGeoJson(const QString &title, const QVector<Point> &points, std::ostream &os)
{
    os << "{\"type\":\"FeatureCollection\",\"features\":[";
    geoJsonFeature(title, points, false, os);
    os << "]}\n";
}

void writeGeoJsonSegments(const QString &title, const QVector<Segment> &segments, std::ostream &os)
{
    os << "{\"type\":\"FeatureCollection\",\"name\":" << out::jsonString(title)
       << ",\"features\":[";
    for (int i = 0; i < segments.size(); ++i) {
        os << (i ? ",\n" : "\n");
        geoJsonFeature(segments[i].name, segments[i].points, true, os);
    }
    os << "\n]}\n";
}

void kmlHead(const QString &title, std::ostream &os)
{
    os << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
          "<kml xmlns=\"http://www.opengis.net/kml/2.2\">\n<Document>\n <name>"
       << out::xmlText(title) << "</name>\n";
}

void kmlCoordinates(const VideoInfo &s, std::ostream &os)
{
    os << number(s.signedLongitude()) << ',' << number(s.signedLatitude());
}

void writeKml(const QString &title, const QVector<Point> &points, std::ostream &os)
{
    kmlHead(title, os);
    os << " <Placemark>\n  <name>Route</name>\n  <LineString><tessellate>1</tessellate>"
          "<coordinates>\n";
    for (const Point &p : points) {
        os << "   ";
        kmlCoordinates(*p.sample, os);
        os << '\n';
    }
    os << "  </coordinates></LineString>\n </Placemark>\n <Folder>\n  <name>Samples</name>\n";
    for (const Point &p : points) {
        const VideoInfo &s = *p.sample;
        os << "  <Placemark><name>" << out::xmlText(s.time) << "</name>";
        const QString time = isoTime(s);
        if (!time.isEmpty())
            os << "<TimeStamp><when>" << out::xmlText(time) << "</when></TimeStamp>";
        os << "<ExtendedData><Data name=\"second\"><value>" << p.second
           << "</value></Data><Data name=\"speed_kmh\"><value>" << speed(s.speed)
           << "</value></Data></ExtendedData><Point><coordinates>";
        kmlCoordinates(s, os);
        os << "</coordinates></Point></Placemark>\n";
    }
    os << " </Folder>\n</Document>\n</kml>\n";
}

// A line a clip; the samples' own placemarks are left to the one-clip file,
// where their number stays small.
void writeKmlSegments(const QString &title, const QVector<Segment> &segments, std::ostream &os)
{
    kmlHead(title, os);
    for (const Segment &segment : segments) {
        os << " <Placemark>\n  <name>" << out::xmlText(segment.name) << "</name>\n";
        const QString begin = isoTime(*segment.points.first().sample);
        const QString end = isoTime(*segment.points.last().sample);
        if (!begin.isEmpty() && !end.isEmpty())
            os << "  <TimeSpan><begin>" << out::xmlText(begin) << "</begin><end>"
               << out::xmlText(end) << "</end></TimeSpan>\n";
        if (segment.points.size() == 1) {
            os << "  <Point><coordinates>";
            kmlCoordinates(*segment.points.first().sample, os);
            os << "</coordinates></Point>\n";
        } else {
            os << "  <LineString><tessellate>1</tessellate><coordinates>\n";
            for (const Point &p : segment.points) {
                os << "   ";
                kmlCoordinates(*p.sample, os);
                os << '\n';
            }
            os << "  </coordinates></LineString>\n";
        }
        os << " </Placemark>\n";
    }
    os << "</Document>\n</kml>\n";
}

} // namespace

bool isFormat(const QString &name)
{
    return name == "gpx" || name == "csv" || name == "geojson" || name == "kml";
}

void write(const QString &format, const QString &title, const QVector<Point> &points,
           std::ostream &os)
{
    if (format == "csv")
        writeCsv(points, os);
    else if (format == "gpx")
        writeGpx(title, points, os);
    else if (format == "geojson")
        writeGeoJson(title, points, os);
    else if (format == "kml")
        writeKml(title, points, os);
}

void writeSegments(const QString &format, const QString &title, const QVector<Segment> &segments,
                   std::ostream &os)
{
    const QVector<Segment> kept = withPoints(segments);
    if (format == "csv")
        writeCsvSegments(kept, os);
    else if (format == "gpx")
        writeGpxSegments(title, kept, os);
    else if (format == "geojson")
        writeGeoJsonSegments(title, kept, os);
    else if (format == "kml")
        writeKmlSegments(title, kept, os);
}

} // namespace exporters
