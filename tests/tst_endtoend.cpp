// A person's session on the real window, by real X input (xdotool): open
// three clips through the file dialog, let them play one after another, and
// check the dashboard at every second against the tracks the test wrote.

#include "config.h"
#include "desktopurls.h"
#include "mainwindow.h"
#include "media.h"
#include "mediatest.h"
#include "qmeter.h"
#include "videoinfoparse.h"
#include "windowfixture.h"

#include <QFileDialog>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <QSlider>
#include <QTimer>
#include <memory>

using windowfixture::child;
using windowfixture::lcdShows;

namespace {

// What the dashboard must show at one second of one clip, worked out from
// the text of the track file the test wrote, not from the program's store.
struct Expected
{
    QString time;
    QString latitude; // as the display must show it, 6 decimals
    QString longitude;
    double speed; // km/h, as the file gives it
};

struct Clip
{
    QString name;
    int seconds;
    QVector<Expected> track; // one a second; may be shorter than the clip
    double distance = 0;     // km, as the program's own reader sums it
};

double nmeaDegrees(const QString &ddmm)
{
    const double v = ddmm.toDouble();
    const int whole = int(v / 100);
    return whole + (v - whole * 100) / 60.0;
}

QString hms(int secondOfDay)
{
    return trackgen::hhmmss(secondOfDay, ":");
}

// Runs the xdotool commands one after another, without waiting; the
// process object deletes itself when they are done.
void xdotool(const QStringList &commands)
{
    auto *p = new QProcess;
    QObject::connect(p, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), p,
                     &QObject::deleteLater);
    p->start("sh", {"-c", "xdotool " + commands.join(" && xdotool ")});
}

} // namespace

class EndToEndTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder;
    QVector<Clip> clips;
    QStringList mismatches;
    QSet<QString> checked; // "clip/second" pairs seen on the dashboard
    DesktopUrls desktop;   // no browser, no file manager

private slots:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        const QString dir = folder.path();

        // a.MP4 with a ".info" track, south-west of the equator.
        Clip a{"a.MP4", 4, {}};
        QStringList info;
        for (const trackgen::Fix &f : trackgen::drive(4, -33.8688, -70.6693, 8 * 3600)) {
            const QString line = trackgen::infoLine(f);
            info << line;
            const QStringList v = line.split(',');
            // This source keeps the sign: the display shows it.
            a.track << Expected{hms(f.secondOfDay), QString::number(v[1].toDouble(), 'f', 6),
                                QString::number(v[2].toDouble(), 'f', 6), v[6].toDouble()};
        }
        QVERIFY(trackgen::writeText(dir + "/a.info", info.join('\n') + '\n'));

        // b.MOV with an NMEA track: degrees and minutes, knots.
        Clip b{"b.MOV", 4, {}};
        QStringList rmc;
        for (const trackgen::Fix &f : trackgen::drive(4, 22.543210, 113.941234, 9 * 3600)) {
            const QString line = trackgen::rmcLine(f);
            rmc << line;
            const QStringList v = line.split(',');
            b.track << Expected{hms(f.secondOfDay), QString::number(nmeaDegrees(v[3]), 'f', 6),
                                QString::number(nmeaDegrees(v[5]), 'f', 6), v[7].toDouble() * 1.85};
        }
        QVERIFY(trackgen::writeText(dir + "/b.TXT", rmc.join('\n') + '\n'));

        // c.AVI with a converted track two seconds shorter than the video:
        // its last sample stays on the dashboard to the end.
        Clip c{"c.AVI", 5, {}};
        QStringList converted;
        for (const trackgen::Fix &f : trackgen::drive(3, 51.5074, 4.4777, 10 * 3600)) {
            const QString line = trackgen::convertedLine(f);
            converted << line;
            const QStringList v = line.split(',');
            c.track << Expected{hms(f.secondOfDay), QString::number(v[3].toDouble(), 'f', 6),
                                QString::number(v[5].toDouble(), 'f', 6), v[7].toDouble()};
        }
        QVERIFY(trackgen::writeText(dir + "/c.map", converted.join('\n') + '\n'));

        clips = {a, b, c};
        for (Clip &clip : clips) {
            QVERIFY(mediatest::makeAvClip(dir + "/" + clip.name, clip.seconds, true, "320x180"));
            VideoInfoParse store;
            QCOMPARE(store.parseFile(dir + "/" + clip.name), 0);
            clip.distance = store.totalDistance;
        }

        // The dialog opens in the folder the settings remember.
        QDir().mkpath(QFileInfo(MainWindow::settingsPath()).path());
        QFile settings(MainWindow::settingsPath());
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write(QJsonDocument(QJsonObject{{"media_dir", dir}}).toJson());
    }

    void openThreeAndPlayThemThrough()
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        media::AVPlayer *player = windowfixture::player(&window);
        auto *list = child<QListWidget>(&window, "listVideo");

        // After the window's own handler: the dashboard is up to date here.
        connect(player, &media::AVPlayer::positionChanged, this,
                [&](qint64) { checkDashboard(&window); });

        // A click on "open", then the names typed into the dialog.
        auto *open = child<QPushButton>(&window, "btnOpenFile");
        const QPoint at = open->mapToGlobal(open->rect().center());
        QTimer typist;
        bool typed = false;
        connect(&typist, &QTimer::timeout, this, [&] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            if (!dialog || !dialog->isActiveWindow() || typed)
                return;
            typed = true;
            xdotool({"type --delay 20 '\"a.MP4\" \"b.MOV\" \"c.AVI\"'", "key Return"});
        });
        typist.start(100);
        xdotool({QStringLiteral("mousemove --sync %1 %2 click 1").arg(at.x()).arg(at.y())});

        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 3, 30000);
        QCOMPARE(list->item(0)->text(), folder.filePath("a.MP4"));
        QCOMPARE(list->item(2)->text(), folder.filePath("c.AVI"));

        // One after another, to the end of the last.
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying(), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(list->currentRow() == 2 && player->isPlaying(), 60000);
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying(), 30000);
        QTest::qWait(1000);
        QVERIFY(!player->isPlaying()); // the last entry does not wrap

        QVERIFY2(mismatches.isEmpty(), qPrintable(mismatches.join('\n')));
        for (int k = 0; k < clips.size(); ++k)
            for (int s = 0; s < clips[k].seconds; ++s)
                QVERIFY2(
                    checked.contains(QStringLiteral("%1/%2").arg(k).arg(s)),
                    qPrintable(QStringLiteral("%1 at %2 s never shown").arg(clips[k].name).arg(s)));

        // Back to the empty dashboard, and the folder remembered.
        QVERIFY(lcdShows(child<QLCDNumber>(&window, "txtTime"), "00:00:00"));
        QVERIFY(!lcdShows(child<QLCDNumber>(&window, "txtTime"), "00:00:01"));
        QCOMPARE(child<QLCDNumber>(&window, "txtCurSpeed")->value(), 0.0);
        QFile settings(MainWindow::settingsPath());
        QVERIFY(settings.open(QIODevice::ReadOnly));
        QCOMPARE(QJsonDocument::fromJson(settings.readAll()).object().value("media_dir").toString(),
                 folder.path());
    }

private:
    void checkDashboard(MainWindow *window)
    {
        media::AVPlayer *player = windowfixture::player(window);
        const int row = child<QListWidget>(window, "listVideo")->currentRow();
        if (!player->isPlaying() || row < 0 || row >= clips.size())
            return;
        const Clip &clip = clips[row];
        if (player->file() != folder.filePath(clip.name)) {
            mismatches << "playing " + player->file() + " with row " + QString::number(row);
            return;
        }
        const int s = int(player->position() / 1000);
        const QString key = QStringLiteral("%1/%2").arg(row).arg(s);
        if (checked.contains(key))
            return;
        checked.insert(key);

        const Expected &e = clip.track[qMin(s, clip.track.size() - 1)];
        auto lcd = [window](const char *name) { return child<QLCDNumber>(window, name); };
        auto expect = [&](bool ok, const QString &what) {
            if (!ok)
                mismatches << QStringLiteral("%1 at %2 s: %3").arg(clip.name).arg(s).arg(what);
        };
        double maxSpeed = 0;
        for (const Expected &x : clip.track)
            maxSpeed = qMax(maxSpeed, x.speed);
        const double seconds = double(player->duration() / 1000);

        expect(lcdShows(lcd("txtTime"), e.time), "time, expected " + e.time);
        expect(lcd("txtWeidu")->value() == e.latitude.toDouble(), "latitude " + e.latitude);
        expect(lcd("txtJingdu")->value() == e.longitude.toDouble(), "longitude " + e.longitude);
        expect(lcd("txtCurSpeed")->value() == double(int(e.speed)), "current speed");
        expect(window->findChild<QMeter *>()->value() == e.speed, "gauge");
        expect(lcd("txtMaxSpeed")->value() == QString::number(maxSpeed, 'f', 2).toDouble(),
               "maximum speed");
        expect(lcd("txtDistance")->value() == QString::number(clip.distance, 'f', 2).toDouble(),
               "distance");
        expect(lcd("txtAvgSpeed")->value() ==
                   QString::number(clip.distance * 3600.0 / seconds, 'f', 2).toDouble(),
               "average speed");
        expect(child<QSlider>(window, "videoSlider")->value() == s, "slider");
        expect(child<QSlider>(window, "videoSlider")->maximum() == clip.seconds, "slider range");
        expect(child<QLabel>(window, "txtPlayTime")->text() == QString::asprintf("00:%.2d", s),
               "elapsed time");
    }
};

VELOMAR_WINDOW_TEST_MAIN(EndToEndTest)

#include "tst_endtoend.moc"
