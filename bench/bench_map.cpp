// The embedded map page under a long route, in a shown QtWebEngine view
// (Xvfb here), sent one runJavaScript call a point as the window sends it:
//  - a 3,600-point route (an hour) against 3,600 calls to an empty function
//    in the same run. Goal: drawn within 1.5 times the empty calls.
//  - a 36,000-point route (ten hours). Goal: drawn in under 2 s.
// "Drawn": every point is on the route line and the view is fitted to it.
// The page is not offline here: tiles fail as they would without a network.
// Each figure is the median of several runs on one page (nine for the
// ratio, three for the long route), after one run to warm the page's script
// up.

#include "benchutil.h"
#include "maptest.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <benchmark/benchmark.h>
#include <unistd.h>

namespace {

using benchutil::median;
using maptest::waitUntil;

QVariant js(QWebEnginePage *page, const QString &script)
{
    return maptest::runJs(page, script);
}

// A drive around Shenzhen, as the window sends a route.
QStringList route(int n)
{
    return maptest::routeCommands(maptest::shenzhenTrack(n));
}

class Page
{
public:
    explicit Page(const QString &name)
    {
        view.resize(800, 600);
        view.show();
        QSignalSpy loaded(view.page(), &QWebEnginePage::loadFinished);
        view.load(QUrl::fromLocalFile(QStringLiteral(VELOMAR_MAP_DIR "/") + name));
        ok = loaded.wait(60000) && js(view.page(), "typeof velomarState").toString() == "function";
        js(view.page(), "window.emptyCommand = function (lat, lon) {}");
    }

    // ms for n calls to an empty function, until the page has run them all.
    double emptyCalls(int n)
    {
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < n; ++i)
            view.page()->runJavaScript("emptyCommand(22.5, 113.9);");
        js(view.page(), "0");
        return t.elapsed();
    }

    // ms for a route of n points, until the page has drawn it.
    double drawRoute(int n)
    {
        const QStringList commands = route(n);
        QElapsedTimer t;
        t.start();
        for (const QString &c : commands)
            view.page()->runJavaScript(c);
        // The page's summary in the DOM, written after each drawing: the
        // drawing that takes the route's end also fits the view to it.
        const QString probe =
            QStringLiteral("(function(){var s = JSON.parse(document.body.dataset.state); "
                           "return s.pending === 0 && s.routeCount === %1;})()");
        if (!waitUntil([&] { return js(view.page(), probe.arg(n)).toBool(); }, 60000))
            return -1;
        return t.elapsed();
    }

    QWebEngineView view;
    bool ok = false;
};

void route3600(benchmark::State &state, const char *pageName)
{
    Page page(pageName);
    if (!page.ok) {
        state.SkipWithError("the map page did not load");
        return;
    }
    page.drawRoute(3600); // warm-up
    std::vector<double> empty, drawn;
    for (auto _ : state) {
        // The empty calls vary by a tenth from run to run: nine pairs.
        for (int run = 0; run < 9; ++run) {
            empty.push_back(page.emptyCalls(3600));
            drawn.push_back(page.drawRoute(3600));
        }
    }
    state.counters["empty_3600_ms"] = median(empty);
    state.counters["route_3600_ms"] = median(drawn);
    state.counters["ratio"] = median(drawn) / median(empty);
}

void route36000(benchmark::State &state, const char *pageName)
{
    Page page(pageName);
    if (!page.ok) {
        state.SkipWithError("the map page did not load");
        return;
    }
    page.drawRoute(3600); // warm-up
    std::vector<double> drawn;
    for (auto _ : state)
        for (int run = 0; run < 3; ++run)
            drawn.push_back(page.drawRoute(36000));
    state.counters["route_36000_ms"] = median(drawn);
}

BENCHMARK_CAPTURE(route3600, google_earth, "Google-earth.html")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(route3600, amap, "AMap.html")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(route36000, google_earth, "Google-earth.html")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(route36000, amap, "AMap.html")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    // As root, QtWebEngine starts only without its sandbox.
    if (geteuid() == 0 && qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX"))
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
