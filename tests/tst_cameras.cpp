// A two-camera card in the real window: each moment plays its front and
// rear together in one picture, a click on the small picture makes it the
// large one (by real X input), the layout is a menu choice kept in the
// settings, and a moment without its rear shows a plain placeholder.

#include "avplayer.h"
#include "colours.h"
#include "config.h"
#include "desktopurls.h"
#include "mainwindow.h"
#include "trackgen.h"
#include "videocapture.h"
#include "videooutput.h"
#include "windowfixture.h"

#include <QAction>
#include <QLCDNumber>
#include <QLabel>
#include <QListWidget>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

using windowfixture::child;

class CamerasTest : public QObject
{
    Q_OBJECT

    QTemporaryDir card;
    DesktopUrls desktop; // no browser copy of the map
    QString front1, rear1, front2;

    static QImage picture(MainWindow &window)
    {
        return windowfixture::player(&window)->videoCapture()->grab();
    }
    // Waits until the picture shows `colour` at that point.
    static bool shows(MainWindow &window, QPointF at, const QString &colour)
    {
        return QTest::qWaitFor(
            [&] {
                const QImage image = picture(window);
                return !image.isNull() && colours::at(image, at) == colour;
            },
            10000);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(card.isValid());
        const QString movie = card.filePath("DCIM/Movie");
        QVERIFY(QDir().mkpath(movie));
        front1 = movie + "/2024_0514_140000_0001F.MP4";
        rear1 = movie + "/2024_0514_140000_0001R.MP4";
        front2 = movie + "/2024_0514_140006_0002F.MP4";
        QVERIFY(colours::clip(front1, "blue", {640, 360}, 6));
        QVERIFY(colours::clip(rear1, "red", {640, 360}, 6));
        QVERIFY(colours::clip(front2, "blue", {640, 360}, 4));
    }

    void momentsPlayTheirCamerasTogether()
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        media::AVPlayer *player = windowfixture::player(&window);
        auto *list = child<QListWidget>(&window, "listVideo");
        windowfixture::drop(&window, {card.path()});
        // One drive of two moments: the rear is no entry of its own.
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 3, 30000);
        // No clip has a GPS time: the machine's zone is taken, and said.
        QCOMPARE(list->item(0)->toolTip(),
                 QString("Times on this computer's time zone: no clip tells the camera's."));
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == front1, 20000);
        player->pause(true);
        QCOMPARE(player->channels().files, QStringList({front1, rear1}));
        QCOMPARE(player->channels().main, 0);

        // The front large, the rear small at the top right.
        const QRectF small = player->channels().rect(1);
        QVERIFY(shows(window, small.center(), "red"));
        QVERIFY(shows(window, QPointF(0.3, 0.7), "blue"));

        // A click on the small picture, as a person makes it.
        QWidget *video = window.findChild<media::VideoOutput *>()->widget();
        QVERIFY(video);
        const QSize area = video->size();
        const QImage shown = picture(window);
        const double scale =
            std::min(double(area.width()) / shown.width(), double(area.height()) / shown.height());
        const QPoint inPicture(int((area.width() - shown.width() * scale) / 2 +
                                   small.center().x() * shown.width() * scale),
                               int((area.height() - shown.height() * scale) / 2 +
                                   small.center().y() * shown.height() * scale));
        const QPoint global = video->mapToGlobal(inPicture);
        QProcess xdotool;
        xdotool.start("xdotool", {"mousemove", QString::number(global.x()),
                                  QString::number(global.y()), "click", "1"});
        QVERIFY(xdotool.waitForFinished(10000));
        QTRY_COMPARE_WITH_TIMEOUT(player->channels().main, 1, 5000);
        QVERIFY(shows(window, QPointF(0.3, 0.7), "red"));
        QVERIFY(shows(window, small.center(), "blue"));
        QCOMPARE(player->file(), front1); // one clock: the front file still leads

        // The snapshot button takes the large camera alone, at its own
        // size: no small picture over its corner.
        QSignalSpy pipShot(player->videoCapture(), &media::VideoCapture::imageCaptured);
        player->pause(false);
        QTRY_VERIFY(player->isPlaying());
        window.on_btnSnap_clicked();
        player->pause(true);
        QCOMPARE(pipShot.count(), 1);
        const QImage pipSnapshot = pipShot.first().first().value<QImage>();
        QCOMPARE(pipSnapshot.size(), QSize(640, 360));
        for (QPointF at :
             {QPointF(0.05, 0.05), QPointF(0.5, 0.5), small.center(), QPointF(0.95, 0.95)})
            QCOMPARE(colours::at(pipSnapshot, at), QString("red"));

        // Side by side, from the menu, kept in the settings.
        window.findChild<QAction *>("actionSideBySide")->trigger();
        QVERIFY(shows(window, QPointF(0.25, 0.5), "red"));
        QVERIFY(shows(window, QPointF(0.75, 0.5), "blue"));
        QVERIFY(trackgen::readText(MainWindow::settingsPath()).contains("\"side_by_side\""));
        // A snapshot is the large camera's picture alone.
        QSignalSpy captured(player->videoCapture(), &media::VideoCapture::imageCaptured);
        player->videoCapture()->setCaptureDir(card.path());
        player->videoCapture()->capture();
        QCOMPARE(captured.count(), 1);
        const QImage snapshot = captured.first().first().value<QImage>();
        QCOMPARE(snapshot.size(), QSize(640, 360));
        for (QPointF at : {QPointF(0.05, 0.05), QPointF(0.5, 0.5), QPointF(0.95, 0.95)})
            QCOMPARE(colours::at(snapshot, at), QString("red"));

        // The next moment has no rear: a placeholder keeps its place, and
        // the front plays large.
        player->seek(5500);
        player->pause(false);
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == front2, 20000);
        player->pause(true);
        QCOMPARE(player->channels().files, QStringList({front2, QString()}));
        QCOMPARE(player->channels().main, 0);
        QVERIFY(shows(window, QPointF(0.25, 0.5), "blue"));
        QVERIFY(shows(window, QPointF(0.75, 0.5), "placeholder"));
        player->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying() && !player->isPaused(), 10000);
    }

    // A camera whose clock runs two hours ahead of UTC: the dashboard and
    // the drive's header read its clock, and "Times in UTC" shows UTC.
    void dashboardOnTheCameraClock()
    {
        QTemporaryDir other;
        const QString front = other.filePath("Movie/2017_0615_140000_0001F.MP4");
        QVERIFY(QDir().mkpath(other.filePath("Movie")));
        QVERIFY(colours::clip(front, "blue", {640, 360}, 4));
        QStringList rmc; // 12:00:00 UTC on 2017-06-15 onwards
        for (const trackgen::Fix &f : trackgen::drive(4, 48.1, 11.5, 12 * 3600))
            rmc << trackgen::rmcLine(f);
        QVERIFY(trackgen::writeText(front.chopped(4) + ".TXT", rmc.join('\n') + '\n'));

        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        media::AVPlayer *player = windowfixture::player(&window);
        auto *list = child<QListWidget>(&window, "listVideo");
        windowfixture::drop(&window, {other.path()});
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 2, 30000);
        QVERIFY2(list->item(0)->text().startsWith("2017-06-15  14:00"),
                 qPrintable(list->item(0)->text()));
        QVERIFY(list->item(0)->toolTip().isEmpty()); // the camera's offset is known
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == front, 20000);
        player->pause(true);
        player->seek(1000);
        auto *time = child<QLCDNumber>(&window, "txtTime");
        QTRY_VERIFY_WITH_TIMEOUT(windowfixture::lcdShows(time, "14:00:01"), 5000);
        QCOMPARE(child<QLabel>(&window, "txtDate")->text(), QString("2017-06-15"));

        window.findChild<QAction *>("actionUtcTimes")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(windowfixture::lcdShows(time, "12:00:01"), 5000);
        QVERIFY2(list->item(0)->text().startsWith("2017-06-15  12:00"),
                 qPrintable(list->item(0)->text()));
        QVERIFY(trackgen::readText(MainWindow::settingsPath()).contains("\"utc_times\":true"));
        window.findChild<QAction *>("actionUtcTimes")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(windowfixture::lcdShows(time, "14:00:01"), 5000);
        player->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying() && !player->isPaused(), 10000);

        // The same clip opened alone, not as a folder: its name's time and
        // its track still tell the camera's clock.
        windowfixture::drop(&window, {front});
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == front, 20000);
        player->pause(true);
        player->seek(1000);
        QTRY_VERIFY_WITH_TIMEOUT(windowfixture::lcdShows(time, "14:00:01"), 5000);
        QCOMPARE(child<QLabel>(&window, "txtDate")->text(), QString("2017-06-15"));
        player->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying() && !player->isPaused(), 10000);
    }

    // Parking and event recordings carry a badge, and the list's filter
    // leaves them out; a drive whose clips are all left out loses its header.
    void kindsBadgedAndFiltered()
    {
        QTemporaryDir other;
        const QString record = other.filePath("Record");
        QVERIFY(QDir().mkpath(record));
        const QString normal = record + "/20240514_140000_NF.mp4";
        const QString event = record + "/20240514_140500_EF.mp4";
        const QString parking = record + "/20240514_150000_PF.mp4";
        for (const QString &f : {normal, event, parking})
            QVERIFY(colours::clip(f, "blue", {320, 180}, 2));

        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        auto *list = child<QListWidget>(&window, "listVideo");
        windowfixture::drop(&window, {other.path()});
        // Three drives: the normal clip, the event five minutes on, parking.
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 6, 30000);
        windowfixture::player(&window)->stop();
        auto row = [&](const QString &path) {
            for (int i = 0; i < list->count(); ++i)
                if (list->item(i)->text() == path)
                    return list->item(i);
            return static_cast<QListWidgetItem *>(nullptr);
        };
        QVERIFY(row(normal) && row(event) && row(parking));
        QVERIFY(row(normal)->icon().isNull());
        QVERIFY(!row(event)->icon().isNull());
        QVERIFY(row(event)->toolTip().startsWith("Event (locked)\n"));
        QVERIFY(row(parking)->toolTip().startsWith("Parking\n"));

        window.findChild<QAction *>("actionShow_parking")->trigger();
        QVERIFY(row(parking)->isHidden());
        QVERIFY(list->item(list->row(row(parking)) - 1)->isHidden()); // its header
        QVERIFY(!row(event)->isHidden() && !row(normal)->isHidden());
        // The filter is kept in the settings.
        QVERIFY(trackgen::readText(MainWindow::settingsPath())
                    .contains("\"recordings_shown\":[\"normal\",\"event\",\"manual\"]"));
    }

    // The next window leaves parking out from the start, as it was left.
    void recordingsFilterKept()
    {
        MainWindow window;
        QVERIFY(!window.findChild<QAction *>("actionShow_parking")->isChecked());
        QVERIFY(window.findChild<QAction *>("actionShow_event")->isChecked());
        window.findChild<QAction *>("actionShow_parking")->trigger();
        QVERIFY(
            trackgen::readText(MainWindow::settingsPath())
                .contains("\"recordings_shown\":[\"normal\",\"event\",\"manual\",\"parking\"]"));
    }

    // The layout chosen is the one the next start uses.
    void layoutKeptAcrossARestart()
    {
        MainWindow window;
        QVERIFY(window.findChild<QAction *>("actionSideBySide")->isChecked());
        QCOMPARE(windowfixture::player(&window)->channels().layout,
                 media::ChannelLayout::SideBySide);
        window.findChild<QAction *>("actionGrid")->trigger();
        QVERIFY(trackgen::readText(MainWindow::settingsPath()).contains("\"grid\""));
    }
};

VELOMAR_WINDOW_TEST_MAIN(CamerasTest)
#include "tst_cameras.moc"
