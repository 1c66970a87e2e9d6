// Evidence-clip export on a generated 3-minute 1080p30 H.264 clip of
// realistic detail (moving test pattern with light sensor-like noise, 12 Mbit/s,
// AAC sound, the GPS inside in Novatek's layout):
//  - overlay export, preset fast, by velomar-export: times real time (goal
//    at least 2.8) and peak memory (goal under 300 MB), against
//    `ffmpeg -c:v libx264 -preset ultrafast` with the same threads
//    transcoding the same clip without overlay, in the same run (goal: at
//    most 10% slower);
//  - stream copy (--no-overlay): times real time (goal at least 50);
//  - the dashboard's drawing and blending per frame (goal at most 4 ms);
//  - how long a Cancel takes to be answered (goal 0.5 s).

#include "benchutil.h"
#include "embedgen.h"
#include "moments.h"
#include "panel.h"
#include "panelblend.h"
#include "trackgen.h"
#include "trip.h"
#include "videoexport.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QThread>
#include <atomic>
#include <benchmark/benchmark.h>
#include <thread>

namespace {

constexpr int seconds = 180;
constexpr int fps = 30;
QString clipDir;

QString card()
{
    return clipDir + "/card";
}
QString clip()
{
    return card() + "/2024_0514_140000_0001F.MP4";
}

// Made once and kept in the build tree, by a process of its own: writing
// the GPS in holds the whole file in memory, and a spawned child's peak
// starts from its parent's.
bool makeClip()
{
    if (QFile::exists(clip()))
        return true;
    QProcess self;
    self.start(QCoreApplication::applicationFilePath(), {"--make-clip"});
    return self.waitForFinished(-1) && self.exitCode() == 0 && QFile::exists(clip());
}

bool makeClipHere()
{
    QDir().mkpath(card());
    const QString plain = clipDir + "/plain1080.mp4";
    // 12 Mbit/s at x264's superfast, as dash cams write it; light noise.
    trackgen::CameraClip c;
    c.size = {1920, 1080};
    c.fps = fps;
    c.seconds = seconds;
    c.noise = 5;
    c.x264 = "superfast";
    c.bitrate = "12M";
    if (!trackgen::makeCameraClip(plain, c, nullptr, -1))
        return false;
    embedgen::Options o;
    o.layout = "novatek";
    o.date = "2024-05-14";
    QString error;
    const bool ok =
        embedgen::write(plain, clip(), trackgen::drive(seconds, 48.137, 11.575), o, &error);
    QFile::remove(plain);
    return ok;
}

void export_(benchmark::State &state, const std::vector<QByteArray> &extra, const char *what)
{
    if (!makeClip()) {
        state.SkipWithError("could not make the clip");
        return;
    }
    const QByteArray out = QFile::encodeName(clipDir + "/export.mp4");
    for (auto _ : state) {
        std::vector<QByteArray> args{VELOMAR_EXPORT_TOOL, QFile::encodeName(card())};
        args.insert(args.end(), extra.begin(), extra.end());
        args.insert(args.end(), {"--force", "-o", out});
        const benchutil::Spawned r = benchutil::spawnMeasured(args);
        if (r.exitCode != 0) {
            state.SkipWithError(what);
            return;
        }
        state.SetIterationTime(r.wallSeconds);
        state.counters["x_realtime"] = seconds / r.wallSeconds;
        state.counters["peak_MB"] = r.peakMiB * 1.048576;
    }
}

void BM_OverlayExportFast(benchmark::State &state)
{
    export_(state, {"--preset", "fast"}, "the overlay export failed");
}

void BM_StreamCopyExport(benchmark::State &state)
{
    export_(state, {"--no-overlay"}, "the copy failed");
}

// The yardstick: ffmpeg's own transcode of the same clip, same x264 preset
// and threads, no overlay.
void BM_FfmpegUltrafast(benchmark::State &state)
{
    if (!makeClip()) {
        state.SkipWithError("could not make the clip");
        return;
    }
    const QByteArray threads = QByteArray::number(QThread::idealThreadCount());
    for (auto _ : state) {
        const benchutil::Spawned r =
            benchutil::spawnMeasured({QFile::encodeName(trackgen::ffmpegPath()),
                                      "-v",
                                      "error",
                                      "-y",
                                      "-i",
                                      QFile::encodeName(clip()),
                                      "-map",
                                      "0:v",
                                      "-map",
                                      "0:a",
                                      "-c:v",
                                      "libx264",
                                      "-preset",
                                      "ultrafast",
                                      "-crf",
                                      "23",
                                      "-threads",
                                      threads,
                                      "-c:a",
                                      "copy",
                                      QFile::encodeName(clipDir + "/ffmpeg.mp4")});
        if (r.exitCode != 0) {
            state.SkipWithError("ffmpeg failed");
            return;
        }
        state.SetIterationTime(r.wallSeconds);
        state.counters["x_realtime"] = seconds / r.wallSeconds;
    }
}

// The panel as the export draws it on 1080p frames: repainted and
// converted once a second, blended into every frame.
void BM_OverlayDrawing(benchmark::State &state)
{
    QVector<QPointF> route;
    const QVector<trackgen::Fix> fixes = trackgen::drive(seconds, 48.137, 11.575);
    for (const trackgen::Fix &f : fixes)
        route.append(QPointF(f.longitude, f.latitude));
    dashboard::Panel panel(QSize(1920, 1080), dashboard::PanelOptions(), route, 90.0);
    videoexport::PanelBlend blend;
    AVFrame *frame = av_frame_alloc();
    frame->format = 0; // AV_PIX_FMT_YUV420P
    frame->width = 1920;
    frame->height = 1080;
    av_frame_get_buffer(frame, 0);
    int n = 0;
    double worst = 0;
    panel.paint(dashboard::Reading()); // fonts loaded before timing
    for (auto _ : state) {
        QElapsedTimer t;
        t.start();
        if (n % fps == 0) {
            const trackgen::Fix &f = fixes[(n / fps) % seconds];
            dashboard::Reading r;
            r.shown = QDateTime(QDate(2024, 5, 14), QTime(14, 0), Qt::UTC).addSecs(n / fps);
            r.fix = true;
            r.speedKmh = f.speedKmh;
            r.latitude = f.latitude;
            r.longitude = f.longitude;
            blend.prepare(panel.paint(r), panel.rect().topLeft(), false);
        }
        blend.apply(frame);
        worst = std::max(worst, t.nsecsElapsed() / 1e6);
        ++n;
    }
    state.counters["ms_a_frame"] =
        benchmark::Counter(double(state.iterations()) / 1000.0,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["worst_ms"] = worst;
    av_frame_free(&frame);
}

// From Cancel to the export's return, mid-way through an overlay export.
void BM_CancelLatency(benchmark::State &state)
{
    if (!makeClip()) {
        state.SkipWithError("could not make the clip");
        return;
    }
    const QVector<trip::Drive> drives = trip::drives(trip::readMoments({clip()}));
    videoexport::Stretch stretch;
    QString error;
    if (drives.isEmpty() || !videoexport::stretchOf(drives[0], 0, seconds, stretch, &error)) {
        state.SkipWithError("no stretch");
        return;
    }
    std::vector<double> answers;
    for (auto _ : state) {
        videoexport::Options o;
        o.output = clipDir + "/cancelled.mp4";
        o.preset = "fast";
        o.replace = true;
        std::atomic<bool> cancel{false};
        std::thread canceller([&] {
            std::this_thread::sleep_for(std::chrono::seconds(3));
            cancel = true;
        });
        QElapsedTimer since;
        bool timing = false;
        const videoexport::Result r = videoexport::exportStretch(stretch, o, [&](double, double) {
            if (cancel && !timing) {
                timing = true;
                since.start();
            }
            return !cancel;
        });
        canceller.join();
        const double ms = since.isValid() ? since.nsecsElapsed() / 1e6 : -1;
        if (!r.cancelled) {
            state.SkipWithError("not cancelled");
            return;
        }
        answers.push_back(ms);
        state.SetIterationTime(ms / 1000.0);
    }
    state.counters["cancel_ms"] = benchutil::median(answers);
}

} // namespace

BENCHMARK(BM_FfmpegUltrafast)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_OverlayExportFast)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(1);
BENCHMARK(BM_StreamCopyExport)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(3);
BENCHMARK(BM_OverlayDrawing)->Unit(benchmark::kMillisecond)->Iterations(900);
BENCHMARK(BM_CancelLatency)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    clipDir = QCoreApplication::applicationDirPath() + "/../bench-clips";
    QDir().mkpath(clipDir);
    if (app.arguments().contains("--make-clip"))
        return makeClipHere() ? 0 : 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
