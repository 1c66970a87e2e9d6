// A folder of clips in the window: its drives in recording order under a
// header each, played one clip after another with no reset in between, the
// drive's line beside the dashboard, and the map leading the video.

#include "config.h"
#include "desktopurls.h"
#include "drivelist.h"
#include "mainwindow.h"
#include "media.h"
#include "trackgen.h"
#include "videosettings.h"
#include "windowfixture.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QLCDNumber>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QRegularExpression>
#include <QSet>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTimer>
#include <QWebSocket>
#include <ctime>

using windowfixture::child;
using windowfixture::lcdShows;

namespace {

struct Made
{
    QString path;
    QVector<trackgen::Fix> fixes;
};

} // namespace

class DrivesTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder;
    DesktopUrls desktop; // no browser copy of the map
    // Drive one: three 4-second clips back to back (the middle one has no
    // track and only its name's time); drive two starts an hour later.
    QVector<Made> clips;

    Made clip(const QString &relative, int startSecondOfDay, int seconds, bool track)
    {
        Made m;
        m.path = folder.filePath(relative);
        QDir().mkpath(QFileInfo(m.path).path());
        if (!trackgen::makeClip(m.path, seconds))
            qFatal("ffmpeg failed");
        m.fixes = trackgen::drive(seconds, 48.1 + startSecondOfDay * 1e-6, 11.5, startSecondOfDay);
        if (track) {
            QStringList lines;
            for (const trackgen::Fix &f : m.fixes)
                lines << trackgen::rmcLine(f);
            const QString base = m.path.left(m.path.lastIndexOf('.'));
            trackgen::writeText(base + ".TXT", lines.join('\n') + '\n');
        }
        return m;
    }

private slots:
    void initTestCase()
    {
        // Names hold the camera's local time: this run's is UTC.
        qputenv("TZ", "UTC");
        tzset();
        QVERIFY(folder.isValid());
        // Names out of time order, one in a subfolder; the NMEA clock is
        // UTC, the names the camera's (here the same).
        clips << clip("b/ZZZ_20230514_120004.MP4", 12 * 3600 + 4, 4, false);
        clips << clip("A_20230514_130000.MP4", 13 * 3600, 4, true);
        clips << clip("C_20230514_120000.MP4", 12 * 3600, 4, true);
        clips << clip("D_20230514_120008.MP4", 12 * 3600 + 8, 4, true);
    }

    void folderPlaysAsItsDrives()
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        media::AVPlayer *player = windowfixture::player(&window);
        auto *list = child<QListWidget>(&window, "listVideo");

        // The dashboard's time on every tick and every stop: between the
        // clips of a drive it never goes back to zero.
        QStringList shownBetween;
        bool firstStarted = false;
        connect(player, &media::AVPlayer::stopped, this, [&] {
            // (The clip without a track shows no time to keep.)
            if (list->currentRow() < 4 && firstStarted && player->file() != clips[0].path &&
                lcdShows(child<QLCDNumber>(&window, "txtTime"), "00:00:00"))
                shownBetween << "reset after " + player->file();
        });
        connect(player, &media::AVPlayer::started, this, [&] { firstStarted = true; });

        windowfixture::drop(&window, {folder.path()});
        auto *progress = window.findChild<QProgressDialog *>("driveProgress");
        QVERIFY(progress);
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 6, 30000);

        // Headers, then clips by recording time.
        QVERIFY(DriveList::isHeader(list->item(0)));
        QCOMPARE(list->item(1)->text(), clips[2].path);
        QCOMPARE(list->item(2)->text(), clips[0].path);
        QCOMPARE(list->item(3)->text(), clips[3].path);
        QVERIFY(DriveList::isHeader(list->item(4)));
        QCOMPARE(list->item(5)->text(), clips[1].path);
        QVERIFY(list->item(0)->text().startsWith("2023-05-14  12:00  0:00:12"));
        QVERIFY(list->item(4)->text().startsWith("2023-05-14  13:00  0:00:04"));
        QVERIFY(!(list->item(0)->flags() & Qt::ItemIsSelectable));

        // The first clip plays, with the drive's line.
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == clips[2].path, 20000);
        auto *trip = child<QLabel>(&window, "txtTrip");
        QTRY_VERIFY_WITH_TIMEOUT(trip->isVisible() && trip->text().startsWith("Clip 1 of 3"), 5000);
        QVERIFY(trip->text().contains("of 0:00:12"));

        // On through the drive's clips to the next drive.
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == clips[0].path, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(trip->text().startsWith("Clip 2 of 3"), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == clips[3].path, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == clips[1].path, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(trip->text().startsWith("Clip 1 of 1"), 5000);
        QVERIFY2(shownBetween.isEmpty(), qPrintable(shownBetween.join('\n')));
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying(), 20000);
        QVERIFY(!trip->isVisible());
    }

    void mapClickPlaysTheNearestClipAndSecond()
    {
        MainWindow window;
        playTheFolder(window);
        if (QTest::currentTestFailed())
            return;
        media::AVPlayer *player = windowfixture::player(&window);
        auto *list = child<QListWidget>(&window, "listVideo");

        // A click by the third clip's second 2: that clip plays from there.
        const trackgen::Fix &f = clips[3].fixes[2];
        emit window.mapClicked(f.latitude + 1e-6, f.longitude);
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == clips[3].path, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(player->position() >= 2000, 5000);
        QVERIFY(player->position() < 3500);
        QCOMPARE(list->currentRow(), 3);
        QTRY_VERIFY_WITH_TIMEOUT(
            lcdShows(child<QLCDNumber>(&window, "txtTime"), trackgen::hhmmss(f.secondOfDay, ":")) ||
                lcdShows(child<QLCDNumber>(&window, "txtTime"),
                         trackgen::hhmmss(f.secondOfDay + 1, ":")),
            5000);

        // Within the clip that plays: a seek.
        const trackgen::Fix &g = clips[3].fixes[0];
        emit window.mapClicked(g.latitude, g.longitude);
        QTRY_VERIFY_WITH_TIMEOUT(player->position() < 1000, 5000);
        QCOMPARE(player->file(), clips[3].path);
        player->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying(), 10000);
    }

    void aClickInTheBrowserCopyPlaysTheClip()
    {
        MainWindow window;
        playTheFolder(window);
        if (QTest::currentTestFailed())
            return;
        media::AVPlayer *player = windowfixture::player(&window);

        // The browser copy: the page the desktop was handed names the token.
        QString token;
        for (const QUrl &u : desktop.opened) {
            const QRegularExpressionMatch m = QRegularExpression("\\?token=([0-9a-f]+)")
                                                  .match(trackgen::readText(u.toLocalFile()));
            if (m.hasMatch())
                token = m.captured(1);
        }
        QVERIFY(!token.isEmpty());
        player->pause(true); // the first clip stays while the clicks come
        // A page's client; one without the token is closed as it connects.
        auto send = [&](const QString &query, const QString &text) {
            QWebSocket client("null");
            client.open(QUrl("ws://127.0.0.1:9090/" + query));
            if (!QTest::qWaitFor([&] { return client.state() == QAbstractSocket::ConnectedState; },
                                 3000))
                return;
            client.sendTextMessage(text);
            QTest::qWait(500);
            client.close();
        };
        const trackgen::Fix &f = clips[3].fixes[1];
        const QString click =
            QStringLiteral("click %1 %2").arg(f.latitude, 0, 'f', 7).arg(f.longitude, 0, 'f', 7);
        // Without the token: ignored.
        send("", click);
        QTest::qWait(1000);
        QCOMPARE(player->file(), clips[2].path);
        // The client the window let in: the clip and second clicked play.
        send("?token=" + token, click);
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == clips[3].path, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(player->position() >= 1000, 5000);
        QVERIFY(player->position() < 2500);
        player->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying(), 10000);
    }

    void aCancelledReadingLeavesNothing()
    {
        DriveList drives;
        QList<bool> finished;
        connect(&drives, &DriveList::finished, this,
                [&](bool cancelled) { finished << cancelled; });
        drives.read({folder.path()});
        QVERIFY(drives.reading());
        drives.cancel(); // at once: the window does not wait for the clip being read
        QCOMPARE(finished, QList<bool>{true});
        QVERIFY(!drives.reading());
        QTest::qWait(3000); // what the cancelled run still finds is dropped
        QCOMPARE(finished, QList<bool>{true});
        QVERIFY(drives.drives().isEmpty());
        // A new reading after it counts.
        drives.read({folder.filePath("b")});
        QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 2, 20000);
        QCOMPARE(finished.last(), false);
        QCOMPARE(drives.drives().size(), 1);
    }

    void openFolderFromTheMenu()
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QAction *open = window.findChild<QAction *>("actionOpenFolder");
        QVERIFY(open);
        QCOMPARE(open->text(), QString("Open folder…"));
        // The dialog is answered the way a person does: the folder typed in.
        QTimer::singleShot(500, this, [&] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            dialog->setDirectory(folder.filePath("b"));
            static_cast<QDialog *>(dialog)->accept();
        });
        open->trigger();
        auto *list = child<QListWidget>(&window, "listVideo");
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 2, 30000);
        QCOMPARE(list->item(1)->text(), clips[0].path);
        windowfixture::player(&window)->stop();
    }

private:
    // Answers the next modal dialogs as a person does: a button by its
    // text, or a file typed into a file dialog.
    void answer(const QStringList &steps)
    {
        delete answering; // the dialogs of an earlier action are done with
        auto *timer = new QTimer(this);
        answering = timer;
        auto remaining = std::make_shared<QStringList>(steps);
        connect(timer, &QTimer::timeout, this, [this, timer, remaining] {
            QWidget *modal = QApplication::activeModalWidget();
            if (!modal) {
                if (remaining->isEmpty())
                    timer->deleteLater();
                return;
            }
            auto *box = qobject_cast<QMessageBox *>(modal);
            if (remaining->isEmpty()) {
                // A box nobody expected (an error): noted, and closed.
                if (box) {
                    unexpected << box->text();
                    box->reject();
                }
                return;
            }
            const QString step = remaining->first();
            if (box) {
                // A box still closing shows no such button: the step waits.
                for (QAbstractButton *b : box->buttons())
                    if (b->text() == step && box->isVisible()) {
                        remaining->removeFirst();
                        b->click();
                        return;
                    }
            } else if (auto *files = qobject_cast<QFileDialog *>(modal)) {
                // The name typed into the dialog's field, then Return.
                auto *name = files->findChild<QLineEdit *>("fileNameEdit");
                if (!name || !files->isVisible())
                    return;
                remaining->removeFirst();
                name->setText(step);
                QTest::keyClick(name, Qt::Key_Return);
            }
        });
        timer->start(200);
    }
    QStringList unexpected;
    QPointer<QTimer> answering;

    // The window shown, the folder dropped on it, its first clip playing.
    void playTheFolder(MainWindow &window)
    {
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        windowfixture::drop(&window, {folder.path()});
        QTRY_COMPARE_WITH_TIMEOUT(child<QListWidget>(&window, "listVideo")->count(), 6, 30000);
        media::AVPlayer *player = windowfixture::player(&window);
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying() && player->file() == clips[2].path, 20000);
    }

    QLabel *offsetLabel(MainWindow *w) { return child<QLabel>(w, "txtOffset"); }

private slots:
    void offsetByKeysIsKeptAcrossARestart()
    {
        const Made &d = clips[3];
        {
            MainWindow window;
            window.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window));
            media::AVPlayer *player = windowfixture::player(&window);
            window.activateWindow(); // the keys go to the active window
            QVERIFY(QTest::qWaitForWindowActive(&window));
            windowfixture::drop(&window, {d.path});
            QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying(), 20000);
            player->pause(true);
            QTest::keyClick(&window, Qt::Key_BracketRight);
            QTest::keyClick(&window, Qt::Key_BracketRight);
            QTRY_COMPARE(offsetLabel(&window)->text(), QString("+2 s"));
            QVERIFY(offsetLabel(&window)->isVisible());
            // Second 3 of the picture shows the track's second 1.
            player->seek(3000);
            QTRY_VERIFY_WITH_TIMEOUT(lcdShows(child<QLCDNumber>(&window, "txtTime"),
                                              trackgen::hhmmss(d.fixes[1].secondOfDay, ":")),
                                     5000);
            player->stop();
            QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying() && !player->isPaused(), 10000);
        }
        // Nothing beside the video but its own track.
        const QString base = d.path.left(d.path.lastIndexOf('.'));
        QCOMPARE(QDir(QFileInfo(d.path).path()).entryList(QDir::Files).size(), 6);
        {
            MainWindow window;
            window.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window));
            media::AVPlayer *player = windowfixture::player(&window);
            windowfixture::drop(&window, {d.path});
            QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying(), 20000);
            QTRY_COMPARE(offsetLabel(&window)->text(), QString("+2 s"));
            // Back to none through the dialog.
            answer({});
            QTimer::singleShot(500, this, [] {
                auto *spin =
                    QApplication::activeModalWidget()->findChild<QSpinBox *>("offsetSeconds");
                spin->setValue(0);
                static_cast<QDialog *>(QApplication::activeModalWidget())->accept();
            });
            window.findChild<QAction *>("actionTimeOffset")->trigger();
            QTRY_VERIFY(offsetLabel(&window)->isHidden());
            player->stop();
            QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying() && !player->isPaused(), 10000);
        }
    }

    void importOntoTheDriveAndExportIt()
    {
        // A phone's GPX over the first drive (12:00:00 to 12:00:12 UTC),
        // somewhere else than the camera's own track.
        const QString phone = folder.filePath("phone.gpx");
        QString gpx = "<?xml version=\"1.0\"?>\n<gpx version=\"1.1\" creator=\"phone\">"
                      "<trk><trkseg>\n";
        for (int t = 0; t < 20; ++t)
            gpx += QStringLiteral(
                       "<trkpt lat=\"%1\" lon=\"%2\"><time>2023-05-14T12:00:%3Z</time></trkpt>\n")
                       .arg(40.0 + t * 0.0001, 0, 'f', 7)
                       .arg(-3.7, 0, 'f', 7)
                       .arg(t, 2, 10, QLatin1Char('0'));
        QVERIFY(trackgen::writeText(phone, gpx + "</trkseg></trk></gpx>\n"));

        MainWindow window;
        playTheFolder(window);
        if (QTest::currentTestFailed())
            return;
        media::AVPlayer *player = windowfixture::player(&window);
        player->pause(true);

        answer({"Whole drive", phone});
        window.findChild<QAction *>("actionImportTrack")->trigger();
        QVERIFY2(unexpected.isEmpty(), qPrintable(unexpected.join('\n')));
        // The clip that plays shows the phone's track now.
        QTRY_VERIFY_WITH_TIMEOUT(
            std::abs(child<QLCDNumber>(&window, "txtWeidu")->value() - 40.0) < 0.01, 10000);

        const QString out = folder.filePath("export/drive.gpx");
        QDir().mkpath(QFileInfo(out).path());
        answer({"Whole drive", out});
        window.findChild<QAction *>("actionExportTrack")->trigger();
        QVERIFY2(unexpected.isEmpty(), qPrintable(unexpected.join('\n')));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(out), 10000);
        // Every second of the three clips, from the phone's track, read
        // back by gpsbabel.
        QProcess babel;
        babel.start("gpsbabel", {"-t", "-i", "gpx", "-f", out, "-o", "unicsv", "-F", "-"});
        QVERIFY(babel.waitForFinished(30000));
        const QList<QByteArray> rows = babel.readAllStandardOutput().trimmed().split('\n');
        QCOMPARE(rows.size() - 1, 12);
        for (const QByteArray &row : rows.mid(1))
            QVERIFY2(row.contains(",40.00") || row.contains(",39.99"), row.constData());

        // The menu says which track is shown, and takes the import away.
        auto *menu = window.findChild<QAction *>("actionTimeOffset")->parentWidget();
        QMetaObject::invokeMethod(menu, "aboutToShow");
        auto *source = window.findChild<QAction *>("actionTrackSource");
        QCOMPARE(source->text(), QString("Track: imported from phone.gpx"));
        auto *remove = window.findChild<QAction *>("actionRemoveImportedTrack");
        QVERIFY(remove->isEnabled());
        remove->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(child<QLCDNumber>(&window, "txtWeidu")->value() -
                                          clips[2].fixes[0].latitude) < 0.01,
                                 10000);
        QCOMPARE(source->text(), QString("Track: C_20230514_120000.TXT"));
        QVERIFY(!remove->isEnabled());

        // A track of another day covers no second of the drive: refused,
        // with both time ranges, and nothing kept.
        const QString late = folder.filePath("late.gpx");
        QVERIFY(trackgen::writeText(late, QString(gpx).replace("2023-05-14", "2023-05-15") +
                                              "</trkseg></trk></gpx>\n"));
        answer({"Whole drive", late});
        window.findChild<QAction *>("actionImportTrack")->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(unexpected.size(), 1, 10000);
        QVERIFY2(unexpected.first().contains("(2023-05-15 12:00:00 to 2023-05-15 12:00:19 UTC) "
                                             "covers no second of the video (2023-05-14 12:00:00"),
                 qPrintable(unexpected.first()));
        unexpected.clear();
        const VideoSettings settings(Config::getCustomerDir() + "/videos");
        QVERIFY(!settings.hasImportedTrack(clips[2].path));
        QCOMPARE(QFileInfo(settings.importedTrackOrigin(clips[0].path)).fileName(),
                 QString("phone.gpx"));
        player->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying() && !player->isPaused(), 10000);
    }

    // "Apply to the whole drive" sets the offset of every clip of the drive
    // that plays, and of no other.
    void offsetForTheWholeDrive()
    {
        MainWindow window;
        playTheFolder(window);
        if (QTest::currentTestFailed())
            return;
        media::AVPlayer *player = windowfixture::player(&window);
        player->pause(true);
        auto setOffset = [&](int value) {
            answer({});
            QTimer::singleShot(500, this, [value] {
                QWidget *dialog = QApplication::activeModalWidget();
                dialog->findChild<QSpinBox *>("offsetSeconds")->setValue(value);
                dialog->findChild<QCheckBox *>("offsetWholeDrive")->setChecked(true);
                static_cast<QDialog *>(dialog)->accept();
            });
            window.findChild<QAction *>("actionTimeOffset")->trigger();
        };
        setOffset(3);
        QTRY_COMPARE(offsetLabel(&window)->text(), QString("+3 s"));
        const VideoSettings settings(Config::getCustomerDir() + "/videos");
        QCOMPARE(settings.offset(clips[2].path), 3);
        QCOMPARE(settings.offset(clips[0].path), 3);
        QCOMPARE(settings.offset(clips[3].path), 3);
        QCOMPARE(settings.offset(clips[1].path), 0); // the other drive
        setOffset(0);
        QTRY_VERIFY(offsetLabel(&window)->isHidden());
        for (int i : {0, 2, 3})
            QCOMPARE(settings.offset(clips[i].path), 0);
        player->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying() && !player->isPaused(), 10000);
    }
};

VELOMAR_WINDOW_TEST_MAIN(DrivesTest)
#include "tst_drives.moc"
