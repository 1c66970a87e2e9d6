// Peak memory of the track lookup, run as `velomar-track dump` on files at
// the readers' bounds. Goal: every accepted track file peaks under 100 MB
// above the tool's own baseline (a two-line track); refused files cost
// nothing either.

#include "benchutil.h"
#include "trackgen.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <functional>
#include <sys/resource.h>

namespace {

QTemporaryDir *scratch;
double baselineMiB = 0;

double peakMiB(const QString &video)
{
    // Another build's tool may be measured on the same files.
    const QByteArray tool = qEnvironmentVariableIsSet("VELOMAR_TRACK_TOOL")
                                ? qgetenv("VELOMAR_TRACK_TOOL")
                                : QByteArray(VELOMAR_TRACK_TOOL);
    return benchutil::dumpPeakMiB(tool, QFile::encodeName(video));
}

double selfMiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

QString writeLines(const QString &name, int count, const std::function<QByteArray(int)> &line)
{
    const QString path = scratch->filePath(name);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(path));
    for (int i = 0; i < count; ++i)
        f.write(line(i));
    return path;
}

// Runs the lookup once for video and reports its peak against the goal.
void measure(benchmark::State &state, const QString &video, bool accepted)
{
    double peak = 0;
    for (auto _ : state)
        peak = peakMiB(video);
    if (peak < 0) {
        state.SkipWithError("velomar-track did not run");
        return;
    }
    const double above = peak - baselineMiB;
    state.counters["peak MiB"] = peak;
    state.counters["above baseline MiB"] = above;
    state.SetLabel(above < 100 ? (accepted ? "accepted, goal met" : "refused, goal met")
                               : "GOAL NOT MET (< 100 MB above baseline)");
}

const trackgen::Fix fix = trackgen::drive(1)[0];

void nmeaDay(benchmark::State &state)
{
    const QVector<trackgen::Fix> day = trackgen::drive(86400);
    writeLines("day.TXT", day.size(),
               [&](int i) { return trackgen::rmcLine(day[i]).toLatin1() + '\n'; });
    measure(state, scratch->filePath("day.MP4"), true);
}
BENCHMARK(nmeaDay)->Name("NMEA, 24 h (6.5 MB)")->Iterations(1)->Unit(benchmark::kMillisecond);

void converted55h(benchmark::State &state)
{
    const QByteArray line = trackgen::convertedLine(fix).toLatin1() + '\n';
    writeLines("max.TXT", 200000, [&](int) { return line; });
    measure(state, scratch->filePath("max.MP4"), true);
}
BENCHMARK(converted55h)
    ->Name("converted lines, 200,000 (55 h)")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void longLines(benchmark::State &state)
{
    // Valid lines with a long tail of ignored fields, just under 256 MiB.
    const QByteArray line = trackgen::convertedLine(fix).toLatin1() + QByteArray(1250, '0') + '\n';
    writeLines("long.TXT", 200000, [&](int) { return line; });
    measure(state, scratch->filePath("long.MP4"), true);
}
BENCHMARK(longLines)
    ->Name("200,000 lines of 1.3 kB (260 MB)")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void cameraGpx(benchmark::State &state)
{
    const QVector<trackgen::Fix> points = trackgen::drive(120000);
    writeLines("cam.GPX", points.size() + 2, [&](int i) {
        if (i == 0)
            return QByteArray("<gpx>\n");
        if (i == points.size() + 1)
            return QByteArray("</gpx>\n");
        return trackgen::gpxDocument({points[i - 1]}).section('\n', 2, 2).toUtf8() + '\n';
    });
    QFile::remove(scratch->filePath("cam.map"));
    measure(state, scratch->filePath("cam.MP4"), true);
}
BENCHMARK(cameraGpx)
    ->Name("camera GPX, 120,000 points (13 MB), converted")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void standardGpx(benchmark::State &state)
{
    const QVector<trackgen::Fix> points = trackgen::drive(60000);
    writeLines("std.GPX", points.size() + 2, [&](int i) {
        if (i == 0)
            return QByteArray("<?xml version=\"1.0\"?>\n<gpx version=\"1.1\"><trk><trkseg>\n");
        if (i == points.size() + 1)
            return QByteArray("</trkseg></trk></gpx>\n");
        const trackgen::Fix &f = points[i - 1];
        return QStringLiteral(
                   "<trkpt lat=\"%1\" lon=\"%2\"><ele>12.5</ele><time>2017-06-15T%3Z"
                   "</time><extensions><gpxtpx:hr>120</gpxtpx:hr></extensions></trkpt>\n")
            .arg(f.latitude, 0, 'f', 7)
            .arg(f.longitude, 0, 'f', 7)
            .arg(trackgen::hhmmss(f.secondOfDay % 86400, ":"))
            .toLatin1();
    });
    QFile::remove(scratch->filePath("std.map"));
    measure(state, scratch->filePath("std.MP4"), true);
}
BENCHMARK(standardGpx)
    ->Name("standard GPX (13 MB), converted")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void shortLines(benchmark::State &state)
{
    writeLines("short.TXT", 2000000, [](int) { return QByteArray("x\n"); });
    measure(state, scratch->filePath("short.MP4"), false);
}
BENCHMARK(shortLines)
    ->Name("2,000,000 one-character lines (4 MB)")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    scratch = &dir;
    // Every video path must name a file; the lookup reads the side files.
    for (const char *name : {"base", "day", "max", "long", "cam", "std", "short"})
        QFile(dir.filePath(QString(name) + ".MP4")).open(QIODevice::WriteOnly);
    const QByteArray two = (trackgen::convertedLine(trackgen::drive(2)[0]) + '\n' +
                            trackgen::convertedLine(trackgen::drive(2)[1]) + '\n')
                               .toLatin1();
    QFile base(dir.filePath("base.TXT"));
    if (base.open(QIODevice::WriteOnly))
        base.write(two);
    base.close();
    baselineMiB = peakMiB(dir.filePath("base.MP4"));
    benchmark::AddCustomContext("this process (must stay below the baseline)",
                                QString::number(selfMiB(), 'f', 1).toStdString() + " MiB");
    benchmark::AddCustomContext("baseline (two-line track)",
                                QString::number(baselineMiB, 'f', 1).toStdString() + " MiB");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
