#include "trackgen.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTextStream>
#include <cmath>

namespace trackgen {

QVector<Fix> drive(int seconds, double startLat, double startLon, int startSecondOfDay)
{
    QVector<Fix> fixes;
    fixes.reserve(seconds);
    double lat = startLat;
    double lon = startLon;
    const double metresPerDegree = 111320.0;
    for (int i = 0; i < seconds; ++i) {
        const double speed = 50.0 + 30.0 * std::sin(i / 60.0);
        fixes.append({(startSecondOfDay + i) % 86400, lat, lon, speed});
        const double metres = speed / 3.6;
        const double heading = 0.6 + 0.4 * std::sin(i / 300.0); // radians from north
        lat += metres * std::cos(heading) / metresPerDegree;
        lon += metres * std::sin(heading) / (metresPerDegree * std::cos(lat * M_PI / 180.0));
    }
    return fixes;
}

QString nmeaChecksum(const QByteArray &body)
{
    int sum = 0;
    for (const char c : body)
        sum ^= static_cast<unsigned char>(c);
    return QStringLiteral("%1").arg(sum, 2, 16, QLatin1Char('0')).toUpper();
}

QString hhmmss(int secondOfDay, const QString &separator)
{
    auto two = [](int v) { return QStringLiteral("%1").arg(v, 2, 10, QLatin1Char('0')); };
    return two(secondOfDay / 3600) + separator + two(secondOfDay / 60 % 60) + separator +
           two(secondOfDay % 60);
}

namespace {

// Degrees as NMEA "dddmm.mmmm".
QString ddmm(double degrees, int degreeDigits)
{
    const double magnitude = std::fabs(degrees);
    const int whole = static_cast<int>(magnitude);
    const double minutes = (magnitude - whole) * 60.0;
    return QStringLiteral("%1%2")
        .arg(whole, degreeDigits, 10, QLatin1Char('0'))
        .arg(minutes, 7, 'f', 4, QLatin1Char('0'));
}

} // namespace

QString rmcLine(const Fix &fix, const QString &status)
{
    const QString body = QStringLiteral("GPRMC,%1.000,%2,%3,%4,%5,%6,%7,045.0,150617,,,A")
                             .arg(hhmmss(fix.secondOfDay), status, ddmm(fix.latitude, 2),
                                  fix.latitude >= 0 ? "N" : "S", ddmm(fix.longitude, 3),
                                  fix.longitude >= 0 ? "E" : "W")
                             .arg(fix.speedKmh / 1.85, 0, 'f', 3);
    return '$' + body + '*' + nmeaChecksum(body.toLatin1());
}

QString infoLine(const Fix &fix, const QString &yyyymmdd, int quality)
{
    return QStringLiteral("%1 %2,%3,%4,%5,0,0,%6")
        .arg(yyyymmdd, hhmmss(fix.secondOfDay, ":"))
        .arg(fix.latitude, 0, 'f', 6)
        .arg(fix.longitude, 0, 'f', 6)
        .arg(quality)
        .arg(fix.speedKmh, 0, 'f', 2);
}

QString convertedLine(const Fix &fix)
{
    return QStringLiteral("B,061517,%1.000,%2,N,%3,E,%4,-08.72,+01.41,+00.59;")
        .arg(hhmmss(fix.secondOfDay))
        .arg(fix.latitude, 0, 'f', 6)
        .arg(fix.longitude, 0, 'f', 6)
        .arg(fix.speedKmh, 0, 'f', 2);
}

QString gpxDocument(const QVector<Fix> &fixes, const QString &date)
{
    QString xml = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<gpx>\n");
    for (const Fix &f : fixes)
        xml += QStringLiteral("  <pt time=\"%1T%2Z\" lat=\"%3\" lon=\"%4\" speed=\"%5\"/>\n")
                   .arg(date, hhmmss(f.secondOfDay, ":"))
                   .arg(f.latitude, 0, 'f', 6)
                   .arg(f.longitude, 0, 'f', 6)
                   .arg(f.speedKmh, 0, 'f', 2);
    return xml + "</gpx>\n";
}

QString srtDocument(const QStringList &texts)
{
    QString srt;
    for (int i = 0; i < texts.size(); ++i)
        srt += QStringLiteral("%1\n%2,000 --> %3,000\n%4\n\n")
                   .arg(i + 1)
                   .arg(hhmmss(i, ":"), hhmmss(i + 1, ":"), texts[i]);
    return srt;
}

bool writeText(const QString &path, const QString &text)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return f.write(text.toUtf8()) >= 0;
}

QString readText(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(f.readAll());
}

QString ffmpegPath()
{
    return QStringLiteral(VELOMAR_FFMPEG);
}

bool makeClip(const QString &path, int seconds, const QString &srtPath, QString *error)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    QStringList args{"-y",
                     "-v",
                     "error",
                     "-f",
                     "lavfi",
                     "-i",
                     QStringLiteral("testsrc=size=320x240:rate=10:duration=%1").arg(seconds)};
    if (!srtPath.isEmpty())
        args << "-i" << srtPath;
    args << "-map"
         << "0:v";
    if (suffix == "avi")
        args << "-c:v"
             << "mpeg4";
    else
        args << "-c:v"
             << "libx264"
             << "-preset"
             << "ultrafast"
             << "-pix_fmt"
             << "yuv420p";
    if (!srtPath.isEmpty())
        args << "-map"
             << "1:s"
             << "-c:s" << (suffix == "avi" ? "srt" : "mov_text");
    args << path;

    QProcess ffmpeg;
    ffmpeg.setStandardInputFile(QProcess::nullDevice());
    ffmpeg.start(ffmpegPath(), args);
    const bool ok = ffmpeg.waitForFinished(120000) && ffmpeg.exitStatus() == QProcess::NormalExit &&
                    ffmpeg.exitCode() == 0;
    if (!ok && error)
        *error = QString::fromUtf8(ffmpeg.readAllStandardError()) + ffmpeg.errorString();
    return ok;
}

bool makeClipRecordedAt(const QString &path, int seconds, const QDateTime &utc, QString *error)
{
    QProcess ffmpeg;
    ffmpeg.setStandardInputFile(QProcess::nullDevice());
    ffmpeg.start(ffmpegPath(),
                 {"-y", "-v", "error", "-f", "lavfi", "-i",
                  QStringLiteral("testsrc=size=160x120:rate=10:duration=%1").arg(seconds), "-c:v",
                  "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p", "-metadata",
                  "creation_time=" + utc.toString(Qt::ISODate), path});
    const bool ok = ffmpeg.waitForFinished(60000) && ffmpeg.exitStatus() == QProcess::NormalExit &&
                    ffmpeg.exitCode() == 0;
    if (!ok && error)
        *error = QString::fromUtf8(ffmpeg.readAllStandardError()) + ffmpeg.errorString();
    return ok;
}

bool makeCameraClip(const QString &path, const CameraClip &c, QString *error, int timeoutMs)
{
    QString picture = QStringLiteral("testsrc2=size=%1x%2:rate=%3:duration=%4")
                          .arg(c.size.width())
                          .arg(c.size.height())
                          .arg(c.fps)
                          .arg(c.seconds);
    if (c.noise > 0)
        picture += QStringLiteral(",noise=alls=%1:allf=t").arg(c.noise);
    QStringList args{"-y", "-v", "error", "-f", "lavfi", "-i", picture};
    if (c.sound)
        args << "-f"
             << "lavfi"
             << "-i" << QStringLiteral("sine=frequency=440:duration=%1").arg(c.seconds);
    args << "-c:v"
         << "libx264"
         << "-preset" << c.x264 << "-g" << QString::number(c.fps) << "-pix_fmt"
         << "yuv420p";
    if (!c.bitrate.isEmpty())
        args << "-b:v" << c.bitrate;
    if (c.sound)
        args << "-c:a"
             << "aac"
             << "-shortest";
    args << path;
    QProcess ffmpeg;
    ffmpeg.setStandardInputFile(QProcess::nullDevice());
    ffmpeg.start(ffmpegPath(), args);
    const bool ok = ffmpeg.waitForFinished(timeoutMs) &&
                    ffmpeg.exitStatus() == QProcess::NormalExit && ffmpeg.exitCode() == 0;
    if (!ok && error)
        *error = QString::fromUtf8(ffmpeg.readAllStandardError()) + ffmpeg.errorString();
    return ok;
}

} // namespace trackgen
