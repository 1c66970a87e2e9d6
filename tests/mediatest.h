#pragma once

// Shared by the media tests: clips made with ffmpeg, and a QApplication set
// up the way the program sets it up.

#include "media.h"
#include "testutil.h"

#include <QApplication>
#include <QProcess>

namespace mediatest {

// Runs ffmpeg with the given arguments (after "-y -v error"); true on success.
inline bool ffmpeg(const QStringList &args, QString *error = nullptr)
{
    QProcess p;
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(trackgen::ffmpegPath(), QStringList{"-y", "-v", "error"} + args);
    const bool ok =
        p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    if (!ok && error)
        *error = QString::fromUtf8(p.readAllStandardError());
    return ok;
}

// A test-pattern clip: 320x240 at 25 fps with a 440 Hz tone unless silent.
inline bool makeAvClip(const QString &path, double seconds, bool withAudio = true,
                       const QString &size = "320x240")
{
    QStringList args{"-f", "lavfi", "-i",
                     QStringLiteral("testsrc=size=%1:rate=25:duration=%2").arg(size).arg(seconds)};
    if (withAudio)
        args << "-f"
             << "lavfi"
             << "-i"
             << QStringLiteral("sine=frequency=440:sample_rate=48000:duration=%1").arg(seconds);
    const bool avi = path.endsWith(".AVI", Qt::CaseInsensitive);
    if (avi)
        args << "-c:v"
             << "mpeg4"
             << "-q:v"
             << "3";
    else
        args << "-c:v"
             << "libx264"
             << "-preset"
             << "ultrafast"
             << "-g"
             << "25"
             << "-pix_fmt"
             << "yuv420p";
    if (withAudio)
        args << "-c:a" << (avi ? "mp3" : "aac");
    args << path;
    QString error;
    const bool ok = ffmpeg(args, &error);
    if (!ok)
        qWarning().noquote() << "ffmpeg:" << error;
    return ok;
}

// The frame ffmpeg decodes at `seconds`, as an image.
inline QImage ffmpegFrame(const QString &clip, double seconds, const QString &scratchPng)
{
    if (!ffmpeg(
            {"-ss", QString::number(seconds, 'f', 3), "-i", clip, "-frames:v", "1", scratchPng}))
        return QImage();
    return QImage(scratchPng).convertToFormat(QImage::Format_RGB32);
}

// Mean absolute difference per channel of two images of one size.
inline double meanDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size() || a.isNull())
        return 1e9;
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const QRgb *p = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const QRgb *q = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col)
            sum += std::abs(qRed(p[col]) - qRed(q[col])) +
                   std::abs(qGreen(p[col]) - qGreen(q[col])) +
                   std::abs(qBlue(p[col]) - qBlue(q[col]));
    }
    return sum / (3.0 * x.width() * x.height());
}

} // namespace mediatest

// main() for a widget test: renderers registered before the application.
#define VELOMAR_MEDIA_TEST_MAIN(TestClass)                                                         \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        media::Widgets::registerRenderers();                                                       \
        media::setLogLevel(media::LogOff);                                                         \
        QApplication app(argc, argv);                                                              \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
