// The track text reader: NMEA $GPRMC sentences as cameras record them, and
// the converted lines that the GPX and subtitle converters write.
//
// $GPRMC,hhmmss[.sss],A|B,ddmm.mmmm,N|S,dddmm.mmmm,E|W,knots,...*HH
// B|A,MMDDYY,hhmmss[.sss],lat,N|S,lon,E|W,km/h,...    ("B": decimal degrees,
//                                                     "A": ddmm.mmmm)

#include "fields.h"
#include "linereader.h"
#include "trackaccumulator.h"
#include "videoinfoparse.h"

#include <QDebug>
#include <cstdint>
#include <cstring>

namespace {

const double kmhPerKnot = 1.85;

QString clockText(const QStringRef &hhmmss)
{
    return colonJoined(hhmmss.mid(0, 2), hhmmss.mid(2, 2), hhmmss.mid(4, 2));
}

bool is(const QStringRef &field, char c)
{
    return field.size() == 1 && field.at(0) == QLatin1Char(c);
}

bool isHemisphere(const QStringRef &field, char positive, char negative)
{
    return is(field, positive) || is(field, negative);
}

// Fills the sample from a $GPRMC sentence whose checksum has passed.
void readRmc(const Fields &f, VideoInfo &s)
{
    if (f.size() < 8)
        return;
    if (!(is(f[2], 'A') || is(f[2], 'B')) || !isHemisphere(f[4], 'N', 'S') ||
        !isHemisphere(f[6], 'E', 'W'))
        return;
    s.time = clockText(f[1]);
    s.latitude = VideoInfoParse::DDTran(toDouble(f[3]));
    s.isNorth = is(f[4], 'N');
    s.longitude = VideoInfoParse::DDTran(toDouble(f[5]));
    s.isEast = is(f[6], 'E');
    s.speed = toDouble(f[7]) * kmhPerKnot;
    s.valid = 1;
}

// Fills the sample from a converted line (kind "B" or "A").
void readConverted(const Fields &f, VideoInfo &s)
{
    if (f.size() < 8)
        return;
    const bool decimal = is(f[0], 'B');
    if (!(decimal || is(f[0], 'A')) || !isHemisphere(f[4], 'N', 'S') ||
        !isHemisphere(f[6], 'E', 'W'))
        return;
    s.time = clockText(f[2]);
    const double lat = toDouble(f[3]);
    const double lon = toDouble(f[5]);
    s.latitude = decimal ? lat : VideoInfoParse::DDTran(lat);
    s.isNorth = is(f[4], 'N');
    s.longitude = decimal ? lon : VideoInfoParse::DDTran(lon);
    s.isEast = is(f[6], 'E');
    s.speed = toDouble(f[7]);
    s.valid = 1;
}

} // namespace

int VideoInfoParse::parseGpsInfoFile(QString path)
{
    clearSamples();
    if (!tracklimits::fileSizeAcceptable(path, "NMEA"))
        return -1;
    TrackAccumulator track(*this);

    LineReader text;
    if (!text.open(path))
        return -1;

    const QString noDate = QStringLiteral("FFFF:FF:FF"); // shared by every sample
    Fields fields;
    QByteArray bytes;
    QStringRef line;
    while (text.next(line)) {
        splitFields(line, fields, 9); // fields 8 and on are never read
        auto *sample = new VideoInfo;
        sample->date = noDate;
        if (fields[0] == QLatin1String("$GPRMC")) {
            // A sentence over the line limit is no sentence: dropped as one
            // whose checksum fails.
            if (text.truncated() || !checkNmeaSum(utf8Bytes(line, bytes))) {
                qDebug().noquote() << "invalid line: " + line.left(200).toString();
                delete sample;
                continue; // dropped: later samples move one second earlier
            }
            readRmc(fields, *sample);
        } else {
            readConverted(fields, *sample);
        }
        if (!track.add(sample)) {
            tracklimits::refuseTooManySamples(path, "NMEA");
            return -1;
        }
    }
    return track.finish();
}

int VideoInfoParse::checkNmeaSum(const char *line)
{
    if (!line)
        return 0;
    const std::size_t length = std::strlen(line);
    if (length < 3)
        return 0;

    // Bytes are XORed as signed chars widened to int: an odd number of bytes
    // of 0x80 and above leaves the high bits set, and no "HH" can match.
    int sum = static_cast<std::int8_t>(line[1]);
    std::size_t star = 0;
    for (std::size_t i = 2; i < length; ++i) {
        if (line[i] == '*') {
            star = i;
            break;
        }
        sum ^= static_cast<std::int8_t>(line[i]);
    }
    if (star == 0 || star == length - 1)
        return 0;

    const std::size_t tailLength = length - star - 1;
    if (tailLength >= 32)
        return 0;
    char tail[32] = {};
    std::memcpy(tail, line + star + 1, tailLength);
    tail[std::strcspn(tail, "\r\n")] = '\0';

    // Upper-case hexadecimal only: "*6a" fails.
    std::uint64_t value = 0;
    for (const char *p = tail; *p; ++p) {
        int digit;
        if (*p >= '0' && *p <= '9')
            digit = *p - '0';
        else if (*p >= 'A' && *p <= 'F')
            digit = *p - 'A' + 10;
        else
            return 0;
        if (value > 0xFFFFFFFFu)
            return 0; // far beyond any sum
        value = value * 16 + static_cast<std::uint64_t>(digit);
    }
    return sum >= 0 && value == static_cast<std::uint64_t>(sum) ? 1 : 0;
}
