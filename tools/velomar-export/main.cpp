// velomar-export: a stretch of a drive as one MP4 with the track inside,
// from the command line, as the window's "Export video…" writes it.

#include "moments.h"
#include "trip.h"
#include "videoexport.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace {

const char *usage =
    "Usage: velomar-export PATH... [--from TIME] [--to TIME] [--no-overlay]\n"
    "                      [--preset fast|balanced|small] [--gpx] [--force] -o OUT.mp4\n"
    "                      [--layout corner|bar] [--hide ELEMENT,...] [--unit kmh|mph]\n"
    "                      [--limit SPEED]\n"
    "\n"
    "Writes a stretch of a drive as one MP4 with the GPS track inside it (a CAMM\n"
    "metadata track, which exiftool and Velomar read). PATH is clips or a folder;\n"
    "their first drive is exported, or the drive that holds --from when that is\n"
    "a date and time. TIME is seconds into the drive (95, 95.5) or a date and time\n"
    "on the camera's clock (2024-05-14T14:03:10); --from defaults to the drive's\n"
    "start, --to to its end.\n"
    "By default the dashboard is drawn into the picture (re-encoded with x264, cut\n"
    "to the frame): date and time on the camera's clock, speed, the speed gauge,\n"
    "signed coordinates and a map of the stretch's route drawn from the track.\n"
    "  --no-overlay  copy the video and sound as recorded, no re-encoding, cut at\n"
    "                the key frame at or before --from\n"
    "  --preset      speed against file size of a re-encoded export: x264's\n"
    "                ultrafast, veryfast or medium (default balanced: veryfast)\n"
    "  --layout      the dashboard as a corner panel (default) or a bottom bar\n"
    "  --hide        leave out any of time, speed, gauge, coordinates, route\n"
    "  --unit        speeds in km/h (default) or mph\n"
    "  --limit       the gauge's red arc from this speed (in --unit)\n"
    "  --gpx         also write the stretch's track as OUT.gpx\n"
    "  --force       replace OUT.mp4 (and OUT.gpx) where they exist\n"
    "Progress goes to standard error. Exit status: 0 done, 1 the export failed\n"
    "while writing, 2 bad input (one line says why), 3 interrupted.\n";

std::atomic<bool> interrupted{false};

void onSignal(int)
{
    interrupted = true;
}

int fail(const QString &message, int status = 2)
{
    std::cerr << "velomar-export: " << message.toStdString() << '\n';
    return status;
}

void quietDebug(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    // Qt's note that a command-line session has no runtime folder.
    if (message.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR")))
        return;
    std::cerr << message.toStdString() << '\n';
}

} // namespace

int main(int argc, char **argv)
{
    // The dashboard is painted with Qt's fonts, which need a GUI
    // application; a command-line tool never needs a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qgetenv("VELOMAR_DEBUG").isEmpty())
        qInstallMessageHandler(quietDebug);
    QGuiApplication app(argc, argv);
    // Ctrl+C stops the export at its next packet, and its part file goes.
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);

    QStringList paths;
    QString fromText, toText;
    videoexport::Options options;
    double limitValue = 0.0;
    const QStringList args = app.arguments().mid(1);
    for (int i = 0; i < args.size(); ++i) {
        const QString &a = args[i];
        auto value = [&](QString *into) {
            if (i + 1 >= args.size())
                return false;
            *into = args[++i];
            return true;
        };
        if (a == "--help" || a == "-h") {
            std::cout << usage;
            return 0;
        } else if (a == "--from") {
            if (!value(&fromText))
                return fail("--from needs a time");
        } else if (a == "--to") {
            if (!value(&toText))
                return fail("--to needs a time");
        } else if (a == "--no-overlay") {
            options.overlay = false;
        } else if (a == "--preset") {
            if (!value(&options.preset) ||
                !QStringList({"fast", "balanced", "small"}).contains(options.preset))
                return fail("--preset is fast, balanced or small");
        } else if (a == "--layout") {
            QString layout;
            if (!value(&layout) || (layout != "corner" && layout != "bar"))
                return fail("--layout is corner or bar");
            options.panel.layout = layout == "bar" ? dashboard::PanelOptions::Layout::Bar
                                                   : dashboard::PanelOptions::Layout::Corner;
        } else if (a == "--hide") {
            QString list;
            if (!value(&list))
                return fail("--hide needs a list of elements");
            for (const QString &e : list.split(',', Qt::SkipEmptyParts)) {
                bool *flag = e == "time"          ? &options.panel.time
                             : e == "speed"       ? &options.panel.speed
                             : e == "gauge"       ? &options.panel.gauge
                             : e == "coordinates" ? &options.panel.coordinates
                             : e == "route"       ? &options.panel.route
                                                  : nullptr;
                if (!flag)
                    return fail(QString("--hide: no element %1 (time, speed, gauge, coordinates, "
                                        "route)")
                                    .arg(e));
                *flag = false;
            }
        } else if (a == "--unit") {
            QString unit;
            if (!value(&unit) || (unit != "kmh" && unit != "mph"))
                return fail("--unit is kmh or mph");
            options.panel.unit = unit == "mph" ? dashboard::Unit::Mph : dashboard::Unit::Kmh;
        } else if (a == "--limit") {
            QString limit;
            bool ok = false;
            if (value(&limit))
                limitValue = limit.toDouble(&ok);
            if (!ok || limitValue <= 0)
                return fail("--limit needs a speed above 0");
        } else if (a == "--gpx") {
            options.gpx = true;
        } else if (a == "--force") {
            options.replace = true;
        } else if (a == "-o" || a == "--output") {
            if (!value(&options.output))
                return fail("-o needs a file name");
        } else if (a.startsWith('-') && a.size() > 1) {
            return fail(QString("unknown option %1 (--help lists them)").arg(a));
        } else {
            paths.append(a);
        }
    }
    if (limitValue > 0)
        options.panel.limitKmh = options.panel.unit == dashboard::Unit::Mph
                                     ? limitValue / dashboard::milesPerKm
                                     : limitValue;
    if (paths.isEmpty())
        return fail("no clip or folder given (--help for usage)");
    if (options.output.isEmpty())
        return fail("no output given (-o OUT.mp4)");
    for (const QString &p : paths)
        if (!QFileInfo::exists(p))
            return fail(QString("no such file or folder: %1").arg(p));

    double from = 0.0, to = -1.0;
    QDateTime fromTime, toTime;
    QString error;
    if (!fromText.isEmpty() && !videoexport::parseTime(fromText, &from, &fromTime, &error))
        return fail(error);
    if (!toText.isEmpty() && !videoexport::parseTime(toText, &to, &toTime, &error))
        return fail(error);

    const QStringList videos = trip::findVideos(paths);
    if (videos.isEmpty())
        return fail(QString("no videos among %1").arg(paths.join(", ")));
    const QVector<trip::Drive> drives = trip::drives(trip::readMoments(videos));
    if (drives.isEmpty())
        return fail("no drive could be read from the videos");
    int chosen = 0;
    if (fromTime.isValid()) {
        chosen = -1;
        for (int i = 0; i < drives.size() && chosen < 0; ++i)
            if (drives[i].start() <= fromTime && fromTime < drives[i].end())
                chosen = i;
        if (chosen < 0)
            return fail(QString("%1 lies in no drive of the videos given")
                            .arg(fromTime.toString("yyyy-MM-ddThh:mm:ss")));
    }
    const trip::Drive &drive = drives[chosen];
    if (fromTime.isValid())
        from = drive.start().msecsTo(fromTime) / 1000.0;
    if (toTime.isValid())
        to = drive.start().msecsTo(toTime) / 1000.0;
    if (to < 0.0 && toText.isEmpty())
        to = videoexport::driveSeconds(drive);

    videoexport::Stretch stretch;
    if (!videoexport::stretchOf(drive, from, to, stretch, &error))
        return fail(error);

    for (const QString &path : stretch.unreadable)
        std::cerr << "velomar-export: " << QFileInfo(path).fileName().toStdString()
                  << " cannot be read and is left out\n";

    const bool tty = isatty(STDERR_FILENO);
    QElapsedTimer clock;
    clock.start();
    qint64 shownAt = -1000;
    const videoexport::Result r =
        videoexport::exportStretch(stretch, options, [&](double done, double total) {
            const qint64 now = clock.elapsed();
            if (now - shownAt >= (tty ? 200 : 1000) && total > 0 && done > 0) {
                shownAt = now;
                const double left = (total - done) * now / 1000.0 / done;
                std::fprintf(stderr, "%sexported %3.0f%% (%.0f s of %.0f s), %.0f s left%s",
                             tty ? "\r" : "", 100.0 * done / total, done, total, left,
                             tty ? "  " : "\n");
            }
            return !interrupted.load();
        });
    if (tty)
        std::fputc('\n', stderr);
    if (r.cancelled)
        return fail("interrupted; nothing was written", 3);
    if (!r.ok)
        return fail(r.error, r.badInput ? 2 : 1);
    const QString by = r.encoder.isEmpty() ? QString() : QString(", encoded by %1").arg(r.encoder);
    std::fprintf(stderr, "wrote %s: %.2f s, %d track packets%s%s%s, in %.1f s\n",
                 QFile::encodeName(options.output).constData(), r.seconds, r.trackPackets,
                 r.gpxPath.isEmpty() ? "" : ", and ", QFile::encodeName(r.gpxPath).constData(),
                 by.toUtf8().constData(), clock.elapsed() / 1000.0);
    return 0;
}
