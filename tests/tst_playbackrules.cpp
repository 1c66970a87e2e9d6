// The window's playback rules as a user meets them: a cancelled open dialog,
// a lower-case drop, the volume's dead band, snapshots that must not happen
// or cannot be saved, the snapshot folder, the elapsed time at a minute, a
// track shorter than its video, seeks near the end, the end of the play
// list, the hover preview and southern and western fixes.

#include "audiooutput.h"
#include "avplayer.h"
#include "config.h"
#include "desktopurls.h"
#include "loadingdialog.h"
#include "mainwindow.h"
#include "media.h"
#include "mediatest.h"
#include "slider.h"
#include "videopreviewwidget.h"
#include "windowfixture.h"

#include <QCursor>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLCDNumber>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTimer>
#include <QToolTip>
#include <algorithm>
#include <functional>
#include <memory>

using windowfixture::child;
using windowfixture::lcdShows;

namespace {

const double volumeStep = static_cast<double>(0.04f);

// Every file under `dir`, recursively.
QStringList filesUnder(const QString &dir)
{
    QStringList files;
    QDirIterator it(dir, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << it.next();
    return files;
}

QString settingsMediaDir()
{
    QFile settings(MainWindow::settingsPath());
    if (!settings.open(QIODevice::ReadOnly))
        return QString();
    return QJsonDocument::fromJson(settings.readAll()).object().value("media_dir").toString();
}

media::VideoPreviewWidget *shownPreview()
{
    for (QWidget *w : QApplication::topLevelWidgets())
        if (auto *p = qobject_cast<media::VideoPreviewWidget *>(w))
            return p;
    return nullptr;
}

// Calls `step` every 50 ms while a modal dialog's own loop runs, until it
// returns true.
class ModalWatcher
{
public:
    explicit ModalWatcher(std::function<bool(QWidget *)> step) : step(std::move(step))
    {
        QObject::connect(&timer, &QTimer::timeout, [this] {
            if (done)
                return;
            if (QWidget *modal = QApplication::activeModalWidget())
                done = this->step(modal);
        });
        timer.start(50);
    }
    bool done = false;

private:
    std::function<bool(QWidget *)> step;
    QTimer timer;
};

} // namespace

class PlaybackRulesTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Scratch> scratch;
    std::unique_ptr<MainWindow> window;
    DesktopUrls desktop;
    QString pictures; // the snapshot base folder
    QString snapshotDir;

    media::AVPlayer *player() { return windowfixture::player(window.get()); }
    template <typename T> T *child(const char *name)
    {
        return windowfixture::child<T>(window.get(), name);
    }

    // Drops the clips on the window and waits for the first to play.
    void play(const QStringList &names)
    {
        QStringList paths;
        for (const QString &n : names)
            paths << scratch->path(n);
        windowfixture::drop(window.get(), paths);
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 30000);
    }

private slots:
    void initTestCase()
    {
        scratch = std::make_unique<Scratch>();
        pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
        QVERIFY(QDir(pictures).exists());
        snapshotDir = pictures + "/" + Config::customer();

        QVERIFY(mediatest::makeAvClip(scratch->path("long.MP4"), 20, true, "64x36"));
        QVERIFY(mediatest::makeAvClip(scratch->path("lower.mov"), 3, false, "64x36"));
        QVERIFY(mediatest::makeAvClip(scratch->path("minute.MP4"), 62, false, "64x36"));
        QVERIFY(mediatest::makeAvClip(scratch->path("two.MP4"), 2, false, "64x36"));
        QVERIFY(mediatest::makeAvClip(scratch->path("p1.MP4"), 2, false, "64x36"));
        QVERIFY(mediatest::makeAvClip(scratch->path("p2.MP4"), 2, false, "64x36"));

        // A five-second video with a two-second NMEA track.
        QVERIFY(mediatest::makeAvClip(scratch->path("over.MP4"), 5, false, "64x36"));
        QStringList rmc;
        for (const trackgen::Fix &f : trackgen::drive(2, 48.8566, 2.3522, 15 * 3600))
            rmc << trackgen::rmcLine(f);
        scratch->lines("over.TXT", rmc);

        // A fix in the southern and western hemispheres, held for three seconds.
        QVERIFY(mediatest::makeAvClip(scratch->path("sw.MP4"), 3, false, "64x36"));
        QStringList sw;
        for (int i = 0; i < 3; ++i)
            sw << trackgen::rmcLine({16 * 3600 + i, -33.5, -70.25, 40});
        QVERIFY(sw.first().contains(",3330.0000,S,07015.0000,W,"));
        scratch->lines("sw.TXT", sw);

        // The open dialog starts where the settings say.
        QDir().mkpath(scratch->path("media"));
        QDir().mkpath(QFileInfo(MainWindow::settingsPath()).path());
        QFile settings(MainWindow::settingsPath());
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write(QJsonDocument(QJsonObject{{"media_dir", scratch->path("media")}}).toJson());
    }

    void init()
    {
        window = std::make_unique<MainWindow>();
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }
    void cleanup() { window.reset(); }

    void cancelledOpenDialogChangesNothing()
    {
        play({"lower.mov"});
        child<QPushButton>("btnStop")->click();
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying() && !player()->isPaused(), 10000);
        const QByteArray settingsBefore = trackgen::readText(MainWindow::settingsPath()).toUtf8();
        QCOMPARE(settingsMediaDir(), scratch->path("media"));

        QString directory, filters;
        int mode = -1;
        ModalWatcher watcher([&](QWidget *modal) {
            auto *dialog = qobject_cast<QFileDialog *>(modal);
            if (!dialog || !dialog->isVisible())
                return false;
            directory = dialog->directory().absolutePath();
            filters = dialog->nameFilters().join('|');
            mode = dialog->fileMode();
            QTest::keyClick(dialog, Qt::Key_Escape);
            return true;
        });
        QTest::mouseClick(child<QPushButton>("btnOpenFile"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(watcher.done, 30000);

        QCOMPARE(QDir(directory).canonicalPath(), QDir(scratch->path("media")).canonicalPath());
        QCOMPARE(filters, QString("Video(*.MP4 *.MOV *.AVI)"));
        QCOMPARE(mode, int(QFileDialog::ExistingFiles));
        auto *list = child<QListWidget>("listVideo");
        QCOMPARE(list->count(), 1);
        QCOMPARE(list->item(0)->text(), scratch->path("lower.mov"));
        QTest::qWait(1000);
        QVERIFY(!player()->isPlaying());
        QCOMPARE(trackgen::readText(MainWindow::settingsPath()).toUtf8(), settingsBefore);
    }

    // Without a media folder in the settings (the first run), the dialog
    // opens in the user's Videos folder, or at home without one.
    void theFirstOpenStartsInVideos()
    {
        window.reset();
        const QByteArray settings = trackgen::readText(MainWindow::settingsPath()).toUtf8();
        QFile::remove(MainWindow::settingsPath());
        const QString videos = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
        for (const bool withVideos : {true, false}) {
            if (withVideos)
                QVERIFY(QDir().mkpath(videos));
            else
                QVERIFY(QDir(videos).removeRecursively());
            window = std::make_unique<MainWindow>();
            window->show();
            QString directory;
            ModalWatcher watcher([&](QWidget *modal) {
                auto *dialog = qobject_cast<QFileDialog *>(modal);
                if (!dialog || !dialog->isVisible())
                    return false;
                directory = dialog->directory().absolutePath();
                QTest::keyClick(dialog, Qt::Key_Escape);
                return true;
            });
            QTest::mouseClick(child<QPushButton>("btnOpenFile"), Qt::LeftButton);
            QTRY_VERIFY_WITH_TIMEOUT(watcher.done, 30000);
            QCOMPARE(QDir(directory).canonicalPath(),
                     QDir(withVideos ? videos : QDir::homePath()).canonicalPath());
            window.reset();
        }
        QFile restore(MainWindow::settingsPath());
        QVERIFY(restore.open(QIODevice::WriteOnly));
        restore.write(settings);
        restore.close();
        window = std::make_unique<MainWindow>();
    }

    void lowerCaseMovIsAddedAndPlays()
    {
        play({"lower.mov"});
        auto *list = child<QListWidget>("listVideo");
        QCOMPARE(list->count(), 1);
        QCOMPARE(list->item(0)->text(), scratch->path("lower.mov"));
        QCOMPARE(player()->file(), scratch->path("lower.mov"));
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>("videoSlider")->value() >= 1, 15000);
        QCOMPARE(child<QLabel>("txtTotalTime")->text(), QString("00:03"));
    }

    // A paused video is still open: a new choice replaces it, and Stop ends it.
    void aDropWhilePausedPlaysTheNewVideo()
    {
        play({"long.MP4"});
        child<QPushButton>("btnPlay")->click();
        QTRY_VERIFY(player()->isPaused());
        windowfixture::drop(window.get(), {scratch->path("lower.mov")});
        QTRY_VERIFY_WITH_TIMEOUT(
            player()->isPlaying() && player()->file() == scratch->path("lower.mov"), 30000);
        QTRY_COMPARE(child<QLabel>("txtTotalTime")->text(), QString("00:03"));
        child<QPushButton>("btnPlay")->click();
        QTRY_VERIFY(player()->isPaused());
        child<QPushButton>("btnStop")->click();
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying() && !player()->isPaused(), 10000);
        QCOMPARE(child<QLabel>("txtTotalTime")->text(), QString("00:00"));
        QVERIFY(!child<QPushButton>("btnStop")->isEnabled());
    }

    void volumeHasADeadBandOfOneUnit()
    {
        play({"long.MP4"});
        media::AudioOutput *audio = player()->audio();
        QVERIFY(audio);
        auto *slider = child<Slider>("audioSlider");
        QCOMPARE(slider->value(), 50);
        QTRY_VERIFY(qAbs(audio->volume() - 50 * volumeStep) < 1e-6);

        // Moves and presses of the slider, as its signals deliver them.
        auto move = [slider](int value) {
            slider->setValue(value);
            emit slider->sliderMoved(value);
        };
        auto press = [slider](int value) {
            slider->setValue(value);
            emit slider->sliderPressed();
        };
        const qreal at50 = audio->volume();
        move(51);
        QCOMPARE(audio->volume(), at50);
        press(49);
        QCOMPARE(audio->volume(), at50);
        move(52);
        QVERIFY2(qAbs(audio->volume() - 52 * volumeStep) < 1e-6,
                 qPrintable(QString::number(audio->volume(), 'g', 17)));
        const qreal at52 = audio->volume();
        move(53);
        QCOMPARE(audio->volume(), at52);
        press(51);
        QCOMPARE(audio->volume(), at52);
        press(50);
        QVERIFY(qAbs(audio->volume() - 50 * volumeStep) < 1e-6);
        move(0);
        QVERIFY(qAbs(audio->volume()) < 1e-9);
        move(1);
        QCOMPARE(audio->volume(), 0.0);
    }

    void snapWhilePausedOrStoppedDoesNothing()
    {
        play({"long.MP4"});
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>("videoSlider")->value() >= 1, 15000);
        const QString title = window->windowTitle();
        const QStringList before = filesUnder(pictures);

        child<QPushButton>("btnPlay")->click();
        QTRY_VERIFY(player()->isPaused());
        QVERIFY(child<QPushButton>("btnSnap")->isEnabled());
        child<QPushButton>("btnSnap")->click();
        QTest::qWait(1500);
        QCOMPARE(filesUnder(pictures), before);
        QCOMPARE(window->windowTitle(), title);

        child<QPushButton>("btnStop")->click();
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying() && !player()->isPaused(), 10000);
        QVERIFY(!child<QPushButton>("btnSnap")->isEnabled());
        window->on_btnSnap_clicked(); // even past the disabled button
        QTest::qWait(1500);
        QCOMPARE(filesUnder(pictures), before);
        QCOMPARE(window->windowTitle(), title);

        // The same look, playing, does find the snapshot.
        child<QPushButton>("btnPlay")->click();
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 30000);
        child<QPushButton>("btnSnap")->click();
        QTRY_VERIFY_WITH_TIMEOUT(filesUnder(pictures).size() == before.size() + 1, 10000);
        QTRY_VERIFY(window->windowTitle() != title);
    }

    void failedCaptureWarnsAndPlaybackGoesOn()
    {
        play({"long.MP4"});
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>("videoSlider")->value() >= 1, 15000);
        const QString title = window->windowTitle();

        // A regular file where the pictures folder was: nothing can be saved.
        const QString aside = pictures + ".aside";
        QVERIFY(QDir().rename(pictures, aside));
        struct Restore
        {
            QString pictures, aside;
            ~Restore()
            {
                QFile::remove(pictures);
                QDir().rename(aside, pictures);
            }
        } restore{pictures, aside};
        QVERIFY(trackgen::writeText(pictures, "not a folder"));

        QString boxTitle, boxText;
        int icon = -1;
        qint64 shownAt = -1, latest = -1;
        bool playingThroughout = true;
        QElapsedTimer open;
        ModalWatcher watcher([&](QWidget *modal) {
            auto *box = qobject_cast<QMessageBox *>(modal);
            if (!box || !box->isVisible())
                return false;
            if (shownAt < 0) {
                boxTitle = box->windowTitle();
                boxText = box->text();
                icon = box->icon();
                shownAt = player()->position();
                open.start();
            }
            playingThroughout = playingThroughout && player()->isPlaying();
            latest = player()->position();
            // Open until the video has visibly moved on, or long enough.
            if (latest < shownAt + 1000 && open.elapsed() < 20000)
                return false;
            QTest::keyClick(box, Qt::Key_Escape);
            return true;
        });
        child<QPushButton>("btnSnap")->click();
        QTRY_VERIFY_WITH_TIMEOUT(watcher.done, 30000);

        QCOMPARE(boxTitle, QString("QtAV video capture"));
        QCOMPARE(boxText, QString("Failed to capture video frame"));
        QCOMPARE(icon, int(QMessageBox::Warning));
        QVERIFY2(latest >= shownAt + 1000,
                 qPrintable(QStringLiteral("%1 -> %2").arg(shownAt).arg(latest)));
        QVERIFY(playingThroughout);
        QTRY_VERIFY(!QApplication::activeModalWidget());
        QVERIFY(player()->isPlaying());
        QCOMPARE(window->windowTitle(), title);
    }

    void snapshotThumbnailOpensTheFolder()
    {
        QDir(snapshotDir).removeRecursively();
        QVERIFY(!QDir(snapshotDir).exists());
        desktop.opened.clear();
        QTest::mouseClick(child<QLabel>("photoPreview"), Qt::LeftButton);
        QCOMPARE(desktop.opened.size(), 1);
        const QUrl url = desktop.opened.first();
        QCOMPARE(url.scheme(), QString("file"));
        QVERIFY2(url.toString().startsWith("file:///"), qPrintable(url.toString()));
        QCOMPARE(QDir::cleanPath(url.toLocalFile()), snapshotDir);
        QVERIFY(QDir(snapshotDir).exists());
    }

    void elapsedTimeTurnsAtTheMinute()
    {
        play({"minute.MP4"});
        QCOMPARE(child<QLabel>("txtTotalTime")->text(), QString("01:02"));
        child<QPushButton>("btnPlay")->click();
        QTRY_VERIFY(player()->isPaused());
        auto *elapsed = child<QLabel>("txtPlayTime");
        auto *slider = child<QSlider>("videoSlider");

        player()->seek(59960); // the last frame before 60 s at 25 fps
        QTRY_COMPARE_WITH_TIMEOUT(player()->position(), qint64(59960), 15000);
        QTRY_COMPARE_WITH_TIMEOUT(elapsed->text(), QString("00:59"), 5000);
        QCOMPARE(slider->value(), 59);

        player()->seek(60000);
        QTRY_COMPARE_WITH_TIMEOUT(player()->position(), qint64(60000), 15000);
        QTRY_COMPARE_WITH_TIMEOUT(elapsed->text(), QString("01:00"), 5000);
        QCOMPARE(slider->value(), 60);
    }

    void pastTheTrackTheLastSampleStays()
    {
        // What the dashboard shows at each whole second, read as the window
        // draws it (this connection runs after the window's own).
        struct Seen
        {
            bool time, latitude, longitude;
        };
        QMap<int, Seen> seen;
        const QVector<trackgen::Fix> track = trackgen::drive(2, 48.8566, 2.3522, 15 * 3600);
        media::AVPlayer *p = player();
        const auto recorder = connect(p, &media::AVPlayer::positionChanged, this, [&](qint64) {
            if (!p->isPlaying() || p->file() != scratch->path("over.MP4"))
                return;
            const int s = int(p->position() / 1000);
            if (seen.contains(s))
                return;
            const trackgen::Fix &f = track[qMin(s, track.size() - 1)];
            seen[s] = {lcdShows(child<QLCDNumber>("txtTime"), trackgen::hhmmss(f.secondOfDay, ":")),
                       qAbs(child<QLCDNumber>("txtWeidu")->value() - f.latitude) < 1e-4,
                       qAbs(child<QLCDNumber>("txtJingdu")->value() - f.longitude) < 1e-4};
        });
        QSignalSpy stopped(p, &media::AVPlayer::stopped);
        play({"over.MP4"});
        QTRY_VERIFY_WITH_TIMEOUT(stopped.count() == 1, 30000);
        disconnect(recorder);

        int pastTheEnd = 0;
        for (auto it = seen.cbegin(); it != seen.cend(); ++it) {
            const QByteArray where = "second " + QByteArray::number(it.key());
            QVERIFY2(it->time, where + ": time");
            QVERIFY2(it->latitude, where + ": latitude");
            QVERIFY2(it->longitude, where + ": longitude");
            if (it.key() >= track.size())
                ++pastTheEnd;
        }
        QVERIFY2(pastTheEnd >= 2,
                 qPrintable(QStringLiteral("%1 seconds past the track seen").arg(pastTheEnd)));
    }

    void seekIntoTheLastTwoSecondsOfAShortVideo()
    {
        play({"two.MP4"});
        QTRY_VERIFY_WITH_TIMEOUT(player()->position() >= 600, 10000);
        QList<qint64> after;
        const auto recorder = connect(player(), &media::AVPlayer::positionChanged, this,
                                      [&after](qint64 ms) { after << ms; });
        window->seekBySlider(1); // 1 + 2 s is past the end: back to 0
        QTRY_VERIFY_WITH_TIMEOUT(
            !after.isEmpty() && *std::min_element(after.cbegin(), after.cend()) < 500, 10000);
        disconnect(recorder);
    }

    void theListEndsAndStopHoldsOnce()
    {
        media::AVPlayer *p = player();
        QSignalSpy started(p, &media::AVPlayer::started);
        QSignalSpy stopped(p, &media::AVPlayer::stopped);
        auto *list = child<QListWidget>("listVideo");
        LoadingDialog *busy = nullptr;
        for (QWidget *w : QApplication::topLevelWidgets())
            if (auto *d = qobject_cast<LoadingDialog *>(w))
                busy = d;
        QVERIFY(busy);
        auto quietFor = [&](int ms) {
            // Long enough for a parse and a start to show, on a loaded machine.
            QElapsedTimer t;
            t.start();
            while (t.elapsed() < ms) {
                QTest::qWait(50);
                if (p->isPlaying() || busy->isVisible())
                    return false;
            }
            return true;
        };

        // A single entry: it ends, nothing follows.
        play({"p1.MP4"});
        QTRY_COMPARE_WITH_TIMEOUT(stopped.count(), 1, 30000);
        QVERIFY(quietFor(4000));
        QCOMPARE(started.count(), 1);

        // Two entries, stopped by the user: the second does not start.
        started.clear();
        stopped.clear();
        play({"p1.MP4", "p2.MP4"});
        child<QPushButton>("btnStop")->click();
        QTRY_COMPARE_WITH_TIMEOUT(stopped.count(), 1, 10000);
        QVERIFY(quietFor(4000));
        QCOMPARE(started.count(), 1);
        QCOMPARE(list->currentRow(), 0);

        // Started again and left to end: the second follows, then nothing.
        child<QPushButton>("btnPlay")->click();
        QTRY_COMPARE_WITH_TIMEOUT(started.count(), 2, 30000);
        QCOMPARE(p->file(), scratch->path("p1.MP4"));
        QTRY_COMPARE_WITH_TIMEOUT(started.count(), 3, 30000);
        QCOMPARE(p->file(), scratch->path("p2.MP4"));
        QCOMPARE(list->currentRow(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(stopped.count(), 3, 30000);
        QVERIFY(quietFor(4000));
        QCOMPARE(started.count(), 3);
        QCOMPARE(list->currentRow(), 1);
    }

    void hoverPreviewIsFreshAfterALeave()
    {
        play({"long.MP4"});
        auto *slider = child<Slider>("videoSlider");
        QVERIFY(slider->isEnabled());
        const QPoint sliderTop = slider->mapToGlobal(QPoint(0, 0));

        // Real pointer moves: onto the slider, off it, onto it again. The
        // preview stands centred over the pointer, its bottom on the
        // slider's top edge.
        const int x1 = slider->width() / 3, x2 = slider->width() * 2 / 3;
        const int y = slider->height() / 2;
        QCursor::setPos(sliderTop + QPoint(x1, y));
        media::VideoPreviewWidget *preview = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((preview = shownPreview()) && preview->isVisible() &&
                                     preview->x() + 80 == sliderTop.x() + x1,
                                 10000);
        QCOMPARE(preview->size(), QSize(160, 90));
        QCOMPARE(preview->geometry().center().x() + 1, sliderTop.x() + x1); // 160 wide
        QCOMPARE(preview->geometry().bottom() + 1, sliderTop.y());
        QVERIFY(QToolTip::isVisible());
        QVERIFY2(QRegularExpression("^00:00:\\d\\d$").match(QToolTip::text()).hasMatch(),
                 qPrintable(QToolTip::text()));
        const QPointer<media::VideoPreviewWidget> first = preview;

        auto *list = child<QListWidget>("listVideo");
        QCursor::setPos(list->mapToGlobal(list->rect().center()));
        QTRY_VERIFY_WITH_TIMEOUT(first.isNull(), 10000);
        QVERIFY(!shownPreview());

        QCursor::setPos(sliderTop + QPoint(x2, y));
        QTRY_VERIFY_WITH_TIMEOUT((preview = shownPreview()) && preview->isVisible() &&
                                     preview->x() + 80 == sliderTop.x() + x2,
                                 10000);
        QCOMPARE(preview->size(), QSize(160, 90));
        QCOMPARE(preview->geometry().center().x() + 1, sliderTop.x() + x2);
        QCOMPARE(preview->geometry().bottom() + 1, sliderTop.y());
        QVERIFY(first.isNull()); // a new window, not the old one shown again

        // An hour and more: hours, minutes, seconds.
        emit slider->onHover(10, 3725);
        QCOMPARE(QToolTip::text(), QString("01:02:05"));
    }

    void southAndWestShowAsMagnitudes()
    {
        play({"sw.MP4"});
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>("videoSlider")->value() >= 1, 15000);
        auto *latitude = child<QLCDNumber>("txtWeidu");
        auto *longitude = child<QLCDNumber>("txtJingdu");
        QCOMPARE(latitude->value(), 33.5);
        QCOMPARE(longitude->value(), 70.25);
        QVERIFY(lcdShows(latitude, "33.500000"));
        QVERIFY(lcdShows(longitude, "70.250000"));
        QVERIFY(!lcdShows(latitude, "-33.500000"));
    }
};

VELOMAR_WINDOW_TEST_MAIN(PlaybackRulesTest)

#include "tst_playbackrules.moc"
