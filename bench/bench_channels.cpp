// Two cameras of a moment played together (front large, rear as picture in
// picture), two 1080p30 H.264 clips of 60 s, under X (Xvfb here):
//  - sync: both pictures carry their frame number as a bar code; the
//    composed picture is read back four times a second and the two numbers
//    compared. Goal: never more than one frame apart.
//  - seeks: 20 exact seeks while paused, from the command to the first
//    picture in which both channels show the frame asked for, beside the
//    same seeks of the front alone. Goal: every one within 150 ms.
//  - CPU: the pair played through AVPlayer against mpv's own player playing
//    the front alone, as in bench_media. Goal: at most 1.6 times.

#include "avplayer.h"
#include "benchutil.h"
#include "channelgraph.h"
#include "media.h"
#include "mediabench.h"
#include "videocapture.h"
#include "videooutput.h"
#include "waituntil.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QVBoxLayout>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <sys/resource.h>

namespace {

constexpr int seconds = 60;
constexpr int fps = 30;
constexpr int bits = 16;      // of the frame number, 80 px each from the left
constexpr int barWidth = 80;  // px of 1920
constexpr int barHeight = 64; // px of 1080

QString clipDir;

using benchutil::cpuSeconds;

// A camera's clip with its frame number as a bar code along the top; made
// once and kept in the build tree.
QString clip(const QString &name, const QString &picture, const QString &look = "null")
{
    const QString path = QDir(clipDir).filePath(name);
    if (QFile::exists(path))
        return path;
    QDir().mkpath(clipDir);
    QProcess ff;
    ff.setStandardInputFile(QProcess::nullDevice());
    ff.start(
        VELOMAR_FFMPEG,
        {"-y",
         "-v",
         "error",
         "-f",
         "lavfi",
         "-i",
         QStringLiteral("%1=size=1920x1080:rate=%2:duration=%3").arg(picture).arg(fps).arg(seconds),
         "-f",
         "lavfi",
         "-i",
         QStringLiteral("nullsrc=s=%1x%2:r=%3:d=%4,geq=lum='255*mod(floor(N/pow(2\\,floor(X/"
                        "%5)))\\,2)':cb=128:cr=128")
             .arg(bits * barWidth)
             .arg(barHeight)
             .arg(fps)
             .arg(seconds)
             .arg(barWidth),
         "-filter_complex",
         "[0]" + look + "[p];[p][1]overlay=0:0",
         "-c:v",
         "libx264",
         "-preset",
         "veryfast",
         "-g",
         "60",
         "-pix_fmt",
         "yuv420p",
         path});
    ff.waitForFinished(-1);
    return ff.exitCode() == 0 ? path : QString();
}

// The frame number a channel's picture shows, read from the composed
// picture where that channel sits; -1 when unreadable.
int frameNumber(const QImage &image, const QRectF &where)
{
    if (image.isNull())
        return -1;
    int n = 0;
    for (int b = 0; b < bits; ++b) {
        const double fx = where.left() + where.width() * (b * barWidth + barWidth / 2.0) / 1920.0;
        const double fy = where.top() + where.height() * (barHeight / 2.0) / 1080.0;
        const int gray = qGray(image.pixel(int(fx * image.width()), int(fy * image.height())));
        if (gray > 160)
            n |= 1 << b;
        else if (gray > 96)
            return -1; // between black and white: a blend, not a bit
    }
    return n;
}

struct Stage
{
    QWidget window;
    media::VideoOutput *output = nullptr;
    media::AVPlayer player;
    bool stopped = false;

    bool open()
    {
        window.resize(1280, 720);
        output = new media::VideoOutput(&window);
        if (!output->widget())
            return false;
        auto *layout = new QVBoxLayout(&window);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(output->widget());
        window.show();
        player.setRenderer(output);
        QObject::connect(&player, &media::AVPlayer::stopped, [this] { stopped = true; });
        return true;
    }
};

using testwait::waitUntil;

void channels(benchmark::State &state)
{
    const QString front = clip("front-barcode1080p30.mp4", "testsrc2");
    // As much detail as the front, seen otherwise: a real rear camera costs
    // a decoder as much as the front.
    const QString rear = clip("rear-barcode1080p30-detail.mp4", "testsrc2", "hflip,negate");
    if (front.isEmpty() || rear.isEmpty()) {
        state.SkipWithError("ffmpeg could not make the clips");
        return;
    }
    const media::ChannelSet pair{{front, rear}, 0, media::ChannelLayout::PictureInPicture};
    for (auto _ : state) {
        // Sync over the whole clip.
        int worst = 0, samples = 0, unreadable = 0;
        {
            Stage s;
            if (!s.open()) {
                state.SkipWithError("no OpenGL output");
                return;
            }
            s.player.play(front, pair);
            QElapsedTimer tick;
            tick.start();
            while (!s.stopped && tick.elapsed() < (seconds + 30) * 1000) {
                testwait::runFor(250);
                const QImage image = s.player.videoCapture()->grab();
                const int a = frameNumber(image, pair.rect(0));
                const int b = frameNumber(image, pair.rect(1));
                if (a < 0 || b < 0) {
                    ++unreadable;
                    continue;
                }
                ++samples;
                worst = std::max(worst, std::abs(a - b));
            }
        }

        // Exact seeks while paused, of the pair and of the front alone: from
        // the keyframe before, a decoder has up to a GOP (2 s) to decode.
        auto seeks = [&](const media::ChannelSet &set) {
            std::vector<double> ms;
            Stage s;
            s.open();
            s.player.play(front, set);
            waitUntil([&] { return s.player.isPlaying(); }, 20000);
            s.player.pause(true);
            waitUntil([&] { return s.player.isPaused(); }, 5000);
            QRandomGenerator rng(7);
            for (int i = 0; i < 20; ++i) {
                const int frame = int(rng.bounded(fps * (seconds - 2)));
                QElapsedTimer t;
                t.start();
                s.player.seek(qint64(std::llround(frame * 1000.0 / fps)));
                const bool landed = waitUntil(
                    [&] {
                        const QImage image = s.player.videoCapture()->grab();
                        for (int c = 0; c < set.files.size(); ++c)
                            if (frameNumber(image, set.rect(c)) != frame)
                                return false;
                        return true;
                    },
                    5000);
                ms.push_back(landed ? t.nsecsElapsed() / 1e6 : 5000.0);
            }
            s.player.stop();
            waitUntil([&] { return s.stopped; }, 5000);
            std::sort(ms.begin(), ms.end());
            return ms;
        };
        const std::vector<double> frontSeekMs = seeks(media::ChannelSet{{front}, 0, pair.layout});
        const std::vector<double> seekMs = seeks(pair);

        // CPU: the pair here, the front alone in mpv's own player.
        double ours = 0.0;
        {
            Stage s;
            s.open();
            const double cpu0 = cpuSeconds(RUSAGE_SELF);
            s.player.play(front, pair);
            waitUntil([&] { return s.stopped; }, (seconds + 60) * 1000);
            ours = cpuSeconds(RUSAGE_SELF) - cpu0;
        }
        const double theirs = benchutil::runMpv(front, {}, (seconds + 60) * 1000).cpuSeconds;

        state.counters["drift_max_frames"] = worst;
        state.counters["drift_samples"] = samples;
        state.counters["unreadable_samples"] = unreadable;
        state.counters["seek_median_ms"] = seekMs[seekMs.size() / 2];
        state.counters["seek_max_ms"] = seekMs.back();
        state.counters["front_alone_seek_median_ms"] = frontSeekMs[frontSeekMs.size() / 2];
        state.counters["front_alone_seek_max_ms"] = frontSeekMs.back();
        state.counters["pair_cpu_s"] = ours;
        state.counters["mpv_front_cpu_s"] = theirs;
        state.counters["cpu_ratio"] = theirs > 0 ? ours / theirs : 0;
    }
}
BENCHMARK(channels)
    ->Name("two 1080p30 channels, 60 s")
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    return mediabench::main(argc, argv, clipDir);
}
