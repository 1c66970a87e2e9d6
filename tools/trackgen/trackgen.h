#pragma once

// Synthetic tracks and clips for tests, benchmarks and the sample video:
// a drive whose every fix is known, written in each of the cameras' formats.

#include <QDateTime>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QVector>

namespace trackgen {

struct Fix
{
    int secondOfDay; // UTC
    double latitude; // signed decimal degrees
    double longitude;
    double speedKmh;
};

// A smooth drive of `seconds` fixes, one a second, heading north-east from
// the start at a speed that rises and falls between about 20 and 80 km/h.
QVector<Fix> drive(int seconds, double startLat = 22.543210, double startLon = 113.941234,
                   int startSecondOfDay = 12 * 3600);

// "*HH" checksum of an NMEA sentence body (the text between "$" and "*").
QString nmeaChecksum(const QByteArray &body);
// A $GPRMC sentence with a correct checksum; speed in knots (km/h / 1.85).
QString rmcLine(const Fix &fix, const QString &status = "A");
// A ".info" line: "YYYYMMDD hh:mm:ss,lat,lon,quality,0,0,speed".
QString infoLine(const Fix &fix, const QString &yyyymmdd = "20170615", int quality = 1);
// A converted-track line of kind "B".
QString convertedLine(const Fix &fix);
// A camera GPX document: attributed children of the document element.
QString gpxDocument(const QVector<Fix> &fixes, const QString &date = "2017-06-15");
// SRT blocks of one second each, every block closed by an empty line.
QString srtDocument(const QStringList &texts);

QString hhmmss(int secondOfDay, const QString &separator = "");

bool writeText(const QString &path, const QString &text);
QString readText(const QString &path);

// The ffmpeg that the build linked into the resource directory.
QString ffmpegPath();
// Makes a test-pattern clip with ffmpeg (H.264 in MP4/MOV, MPEG-4 in AVI).
// With a non-empty srtPath the subtitles are muxed in as the first subtitle
// stream (mov_text in MP4/MOV). Returns false, with ffmpeg's message in
// `error`, when ffmpeg fails.
bool makeClip(const QString &path, int seconds, const QString &srtPath = QString(),
              QString *error = nullptr);
// A small H.264 clip whose container says when it was recorded (UTC).
bool makeClipRecordedAt(const QString &path, int seconds, const QDateTime &utc,
                        QString *error = nullptr);

// A dash cam's clip: a moving test pattern (with sensor-like noise of
// `noise` strength, 0 for none), H.264 with a key frame a second, and AAC
// sound where `sound`. `x264` is the generating preset; `bitrate` as ffmpeg
// takes it ("12M"), empty for x264's own choice.
struct CameraClip
{
    QSize size{320, 240};
    int fps = 10;
    int seconds = 10;
    int noise = 0;
    bool sound = true;
    QString x264 = QStringLiteral("ultrafast");
    QString bitrate;
};
bool makeCameraClip(const QString &path, const CameraClip &clip, QString *error = nullptr,
                    int timeoutMs = 300000);

} // namespace trackgen
