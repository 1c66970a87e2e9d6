// Track parsing speed on synthetic drives of one hour and one day.
// Goal: a 24-hour NMEA track (86,400 lines, ~6.5 MB) into the store in
// under 100 ms on a 2-core machine.

#include "srtparse.h"
#include "trackgen.h"
#include "videoinfoparse.h"
#include "xmlgpsparse.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace {

QTemporaryDir *scratch;

// Writes the file once per process; returns its path.
QString fixture(const QString &name, int seconds, QString (*line)(const trackgen::Fix &))
{
    const QString path = scratch->filePath(name);
    if (!QFile::exists(path)) {
        QStringList lines;
        for (const trackgen::Fix &f : trackgen::drive(seconds))
            lines << line(f);
        trackgen::writeText(path, lines.join('\n') + '\n');
    }
    return path;
}

QString rmc(const trackgen::Fix &f)
{
    return trackgen::rmcLine(f);
}
QString info(const trackgen::Fix &f)
{
    return trackgen::infoLine(f);
}

void report(benchmark::State &state, int lines, const QString &path)
{
    state.counters["lines/s"] =
        benchmark::Counter(double(lines) * double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["MB"] = double(QFileInfo(path).size()) / 1e6;
}

void nmea(benchmark::State &state)
{
    const int seconds = int(state.range(0));
    const QString path = fixture(QStringLiteral("nmea%1.TXT").arg(seconds), seconds, rmc);
    VideoInfoParse store;
    for (auto _ : state) {
        store.resetVideoInfo();
        if (store.parseGpsInfoFile(path) != 0 || store.count != seconds)
            state.SkipWithError("parse failed");
    }
    report(state, seconds, path);
}
BENCHMARK(nmea)->Name("NMEA")->Arg(3600)->Arg(86400)->Unit(benchmark::kMillisecond);

void infoFile(benchmark::State &state)
{
    const int seconds = int(state.range(0));
    const QString path = fixture(QStringLiteral("track%1.info").arg(seconds), seconds, info);
    VideoInfoParse store;
    for (auto _ : state) {
        store.resetVideoInfo();
        if (store.parseMarlGpsInfoFile(path) != 0 || store.count != seconds)
            state.SkipWithError("parse failed");
    }
    report(state, seconds, path);
}
BENCHMARK(infoFile)->Name("info")->Arg(86400)->Unit(benchmark::kMillisecond);

void gpxConversion(benchmark::State &state)
{
    const int seconds = int(state.range(0));
    const QString path = scratch->filePath("day.GPX");
    trackgen::writeText(path, trackgen::gpxDocument(trackgen::drive(seconds)));
    const QString out = scratch->filePath("gpx.map");
    for (auto _ : state)
        XmlGpsParse::parseFile(path, out);
    if (QFileInfo(out).size() == 0)
        state.SkipWithError("nothing written");
    report(state, seconds, path);
}
BENCHMARK(gpxConversion)->Name("GPX conversion")->Arg(86400)->Unit(benchmark::kMillisecond);

void srtConversion(benchmark::State &state)
{
    const int seconds = int(state.range(0));
    QStringList lines;
    for (const trackgen::Fix &f : trackgen::drive(seconds))
        lines << trackgen::rmcLine(f);
    const QString master = scratch->filePath("day.srt.master");
    trackgen::writeText(master, trackgen::srtDocument(lines));
    const QString srt = scratch->filePath("day.srt");
    const QString out = scratch->filePath("srt.map");
    for (auto _ : state) {
        state.PauseTiming(); // the converter deletes its input
        QFile::remove(srt);
        QFile::copy(master, srt);
        state.ResumeTiming();
        if (!SrtParse::parseFile(srt, out))
            state.SkipWithError("conversion failed");
    }
    report(state, seconds, master);
}
BENCHMARK(srtConversion)->Name("SRT conversion")->Arg(86400)->Unit(benchmark::kMillisecond);

// Subtitle markup removal on one long text: 600,000 characters of tags
// (searching again from the start after each removal took 16 s).
void markup(benchmark::State &state)
{
    QString text;
    for (int i = 0; i < 50000; ++i)
        text += "<b>x</b>{yy}";
    for (auto _ : state) {
        SrtInfoItem item;
        item.text = text;
        SrtParse::ParseSrtFormat(&item);
        if (item.text.size() != 50000)
            state.SkipWithError("wrong result");
    }
    state.counters["chars"] = text.size();
}
BENCHMARK(markup)->Name("SRT markup, 600,000 characters")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QTemporaryDir dir;
    scratch = &dir;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
