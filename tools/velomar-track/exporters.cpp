#include "exporters.h"

#include "jsonwriter.h"

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

void writeCsv(const QVector<Point> &points, std::ostream &os)
{
    os << "second,date,time,latitude,longitude,speed_kmh\n";
    for (const Point &p : points) {
        const VideoInfo &s = *p.sample;
        os << p.second << ',' << isoDate(s).toStdString() << ',' << s.time.toStdString() << ','
           << number(s.signedLatitude()) << ',' << number(s.signedLongitude()) << ','
           << number(s.speed) << '\n';
    }
}

void writeGpx(const QString &title, const QVector<Point> &points, std::ostream &os)
{
    os << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
          "<gpx version=\"1.1\" creator=\"velomar-track\" "
          "xmlns=\"http://www.topografix.com/GPX/1/1\" xmlns:vm=\"urn:velomar:track:1\">\n"
          " <trk>\n  <name>"
       << out::xmlText(title) << "</name>\n  <trkseg>\n";
    for (const Point &p : points) {
        const VideoInfo &s = *p.sample;
        os << "   <trkpt lat=\"" << number(s.signedLatitude()) << "\" lon=\""
           << number(s.signedLongitude()) << "\">";
        const QString date = isoDate(s);
        if (!date.isEmpty())
            os << "<time>" << out::xmlText(date + 'T' + s.time) << "</time>";
        // GPX 1.1 has no speed; the clock time stays even without a date.
        os << "<extensions><vm:second>" << p.second << "</vm:second><vm:time>"
           << out::xmlText(s.time) << "</vm:time><vm:speed unit=\"km/h\">" << number(s.speed)
           << "</vm:speed></extensions></trkpt>\n";
    }
    os << "  </trkseg>\n </trk>\n</gpx>\n";
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

void writeGeoJson(const QString &title, const QVector<Point> &points, std::ostream &os)
{
    os << "{\"type\":\"FeatureCollection\",\"features\":[{\"type\":\"Feature\",\"geometry\":{"
          "\"type\":\"LineString\",\"coordinates\":";
    jsonArray(os, points, [&os](const VideoInfo &s, int) {
        os << '[' << number(s.signedLongitude()) << ',' << number(s.signedLatitude()) << ']';
    });
    os << "},\"properties\":{\"name\":" << out::jsonString(title) << ",\"seconds\":";
    jsonArray(os, points, [&os](const VideoInfo &, int second) { os << second; });
    os << ",\"dates\":";
    jsonArray(os, points, [&os](const VideoInfo &s, int) { os << out::jsonString(isoDate(s)); });
    os << ",\"times\":";
    jsonArray(os, points, [&os](const VideoInfo &s, int) { os << out::jsonString(s.time); });
    os << ",\"speed_kmh\":";
    jsonArray(os, points, [&os](const VideoInfo &s, int) { os << number(s.speed); });
    os << "}}]}\n";
}

void writeKml(const QString &title, const QVector<Point> &points, std::ostream &os)
{
    os << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
          "<kml xmlns=\"http://www.opengis.net/kml/2.2\">\n<Document>\n <name>"
       << out::xmlText(title)
       << "</name>\n <Placemark>\n  <name>Route</name>\n  <LineString><tessellate>1</tessellate>"
          "<coordinates>\n";
    for (const Point &p : points)
        os << "   " << number(p.sample->signedLongitude()) << ','
           << number(p.sample->signedLatitude()) << '\n';
    os << "  </coordinates></LineString>\n </Placemark>\n <Folder>\n  <name>Samples</name>\n";
    for (const Point &p : points) {
        const VideoInfo &s = *p.sample;
        os << "  <Placemark><name>" << out::xmlText(s.time) << "</name>";
        const QString date = isoDate(s);
        if (!date.isEmpty())
            os << "<TimeStamp><when>" << out::xmlText(date + 'T' + s.time) << "</when></TimeStamp>";
        os << "<ExtendedData><Data name=\"second\"><value>" << p.second
           << "</value></Data><Data name=\"speed_kmh\"><value>" << number(s.speed)
           << "</value></Data></ExtendedData><Point><coordinates>" << number(s.signedLongitude())
           << ',' << number(s.signedLatitude()) << "</coordinates></Point></Placemark>\n";
    }
    os << " </Folder>\n</Document>\n</kml>\n";
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

} // namespace exporters
