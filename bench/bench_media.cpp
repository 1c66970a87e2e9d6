// The media layer against the mpv command-line player, under X (Xvfb here):
//  - playback of a 60-second 1080p30 H.264 clip through AVPlayer and
//    VideoOutput: CPU seconds and dropped frames, beside mpv with the same
//    OpenGL output. Goal: at most 1.15 times mpv's CPU, no dropped frames.
//  - preview latency at 50 random times on a 1080p clip with a keyframe every
//    second. Goal: median at most 100 ms, 95th percentile at most 250 ms.

#include "avplayer.h"
#include "benchutil.h"
#include "media.h"
#include "mediabench.h"
#include "videooutput.h"
#include "videopreviewwidget.h"
#include "waituntil.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QVBoxLayout>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

QString clipDir;

using benchutil::cpuSeconds;

// Made once and kept in the build tree: encoding 1080p takes a while.
QString clip(const QString &name, const QStringList &videoArgs, int seconds)
{
    const QString path = QDir(clipDir).filePath(name);
    if (QFile::exists(path))
        return path;
    QDir().mkpath(clipDir);
    QProcess ff;
    ff.setStandardInputFile(QProcess::nullDevice());
    ff.start(VELOMAR_FFMPEG,
             QStringList{"-y", "-v", "error", "-f", "lavfi", "-i",
                         QStringLiteral("testsrc2=size=1920x1080:rate=30:duration=%1").arg(seconds),
                         "-f", "lavfi", "-i",
                         QStringLiteral("sine=frequency=440:duration=%1").arg(seconds)} +
                 videoArgs + QStringList{"-c:a", "aac", "-pix_fmt", "yuv420p", path});
    ff.waitForFinished(-1);
    return ff.exitCode() == 0 ? path : QString();
}

using testwait::waitUntil;

void playback(benchmark::State &state)
{
    const QString path =
        clip("drive1080p30.mp4", {"-c:v", "libx264", "-preset", "veryfast", "-g", "60"}, 60);
    if (path.isEmpty()) {
        state.SkipWithError("ffmpeg could not make the clip");
        return;
    }
    for (auto _ : state) {
        // Velomar: player and output in a 1280x720 window.
        QWidget window;
        window.resize(1280, 720);
        auto *output = new media::VideoOutput(&window);
        if (!output->widget()) {
            state.SkipWithError("no OpenGL output");
            return;
        }
        auto *layout = new QVBoxLayout(&window);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(output->widget());
        window.show();
        media::AVPlayer player;
        player.setRenderer(output);
        bool stopped = false;
        QObject::connect(&player, &media::AVPlayer::stopped, [&stopped] { stopped = true; });
        const double cpu0 = cpuSeconds(RUSAGE_SELF);
        QElapsedTimer wall;
        wall.start();
        player.play(path);
        waitUntil([&stopped] { return stopped; }, 180000);
        const double ours = cpuSeconds(RUSAGE_SELF) - cpu0;
        const double oursWall = wall.elapsed() / 1000.0;
        const qint64 oursDropped = player.droppedFrames();
        const int frames = output->renderedFrames();

        // mpv's own player, same output (OpenGL), same window size.
        const benchutil::MpvRun mpv = benchutil::runMpv(path, {"--script=" VELOMAR_DROPS_SCRIPT});
        const double theirsWall = mpv.wallSeconds;
        const double theirs = mpv.cpuSeconds;
        qint64 theirsDropped = -1;
        for (const QByteArray &line : mpv.stderrText.split('\n'))
            if (line.startsWith("velomar-drops ")) {
                const QList<QByteArray> n = line.split(' ');
                theirsDropped = n.value(1).toLongLong() + n.value(2).toLongLong();
            }

        state.counters["velomar_cpu_s"] = ours;
        state.counters["mpv_cpu_s"] = theirs;
        state.counters["cpu_ratio"] = theirs > 0 ? ours / theirs : 0;
        state.counters["velomar_dropped"] = double(oursDropped);
        state.counters["mpv_dropped"] = double(theirsDropped);
        state.counters["velomar_frames_drawn"] = frames;
        state.counters["velomar_wall_s"] = oursWall;
        state.counters["mpv_wall_s"] = theirsWall;
    }
}
BENCHMARK(playback)
    ->Name("playback 1080p30 60 s")
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

void previewLatency(benchmark::State &state)
{
    const QString path =
        clip("keyframe1s1080p.mp4", {"-c:v", "libx264", "-preset", "veryfast", "-g", "30"}, 120);
    if (path.isEmpty()) {
        state.SkipWithError("ffmpeg could not make the clip");
        return;
    }
    for (auto _ : state) {
        media::VideoPreviewWidget preview;
        preview.resize(160, 90);
        QSignalSpy got(&preview, &media::VideoPreviewWidget::gotFrame);
        preview.setFile(path);
        preview.setTimestamp(0); // opening the file is not part of a hover
        preview.preview();
        waitUntil([&got] { return got.count() > 0; }, 20000);

        QRandomGenerator rng(42);
        std::vector<double> ms;
        for (int i = 0; i < 50; ++i) {
            got.clear();
            preview.setTimestamp(qint64(rng.bounded(119000)));
            QElapsedTimer t;
            t.start();
            preview.preview();
            if (!waitUntil([&got] { return got.count() > 0; }, 20000)) {
                state.SkipWithError("no preview frame");
                return;
            }
            ms.push_back(t.nsecsElapsed() / 1e6);
        }
        std::sort(ms.begin(), ms.end());
        state.counters["median_ms"] = ms[ms.size() / 2];
        state.counters["p95_ms"] = ms[size_t(ms.size() * 0.95)];
        state.counters["max_ms"] = ms.back();
    }
}
BENCHMARK(previewLatency)
    ->Name("preview latency 1080p, 50 times")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    return mediabench::main(argc, argv, clipDir);
}
