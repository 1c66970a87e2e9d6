// Choices made between Play and the first frame, while the track is read
// and while the player opens the file: clicks on Play, double-clicks, drops,
// Open and Stop. The newest choice plays with its own track, no parse runs
// while a video is open, and the play list goes on only when a video ends.
// Run also under ASan and TSan (see the README).

#include "avplayer.h"
#include "desktopurls.h"
#include "languageparse.h"
#include "loadingdialog.h"
#include "mainwindow.h"
#include "mediatest.h"
#include "waituntil.h"
#include "windowfixture.h"

#include <QFileDialog>
#include <QLCDNumber>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The log lines of the parse threads the window starts.
QStringList *parses = nullptr;
QtMessageHandler previousHandler = nullptr;
void countParses(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (parses && message.startsWith("ParseFileThread:"))
        *parses << message.mid(17);
    previousHandler(type, context, message);
}

// Each clip's track lies at a latitude of its own, so the dashboard tells
// whose track the store holds.
const QMap<QString, double> latitudes{{"A", 10.5}, {"B", 20.5}, {"C", 30.5}, {"D", 40.5}};

QStringList trackLines(double latitude)
{
    QStringList lines;
    for (const trackgen::Fix &f : trackgen::drive(3, latitude, 5.5))
        lines << trackgen::rmcLine(f);
    return lines;
}

} // namespace

class OpeningRaceTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Scratch> scratch;
    std::unique_ptr<MainWindow> window;
    DesktopUrls desktop;
    QStringList parsed;
    std::unique_ptr<QSignalSpy> started, stopped;
    QStringList startedFiles;

    template <typename T> T *child(const char *name)
    {
        return windowfixture::child<T>(window.get(), name);
    }
    media::AVPlayer *player() { return windowfixture::player(window.get()); }
    QString clip(const QString &name) { return scratch->path(name + ".MP4"); }
    QStringList clips(const QStringList &names)
    {
        QStringList paths;
        for (const QString &n : names)
            paths << clip(n);
        return paths;
    }
    LoadingDialog *busy()
    {
        for (QWidget *w : QApplication::topLevelWidgets())
            if (auto *d = qobject_cast<LoadingDialog *>(w))
                return d;
        return nullptr;
    }
    QString text(const char *key)
    {
        LanguageParse language;
        language.loadLanguage("default");
        return language.get(key);
    }

    // The track of `name` comes through a pipe that nobody writes yet: its
    // parse holds until release() writes it.
    void holdTrack(const QString &name)
    {
        const QString path = scratch->path(name + ".TXT");
        QFile::remove(path);
        QVERIFY(mkfifo(QFile::encodeName(path).constData(), 0600) == 0);
    }
    void release(const QString &name)
    {
        const QByteArray path = QFile::encodeName(scratch->path(name + ".TXT"));
        int fd = -1;
        // Open for writing once the parse has opened it for reading.
        QVERIFY(testwait::waitUntil(
            [&] { return (fd = ::open(path.constData(), O_WRONLY | O_NONBLOCK)) >= 0; }, 10000));
        const QByteArray lines = trackLines(latitudes[name]).join('\n').toLatin1() + '\n';
        QCOMPARE(::write(fd, lines.constData(), size_t(lines.size())), ssize_t(lines.size()));
        ::close(fd);
        // The reader keeps the pipe; later openings find a plain file.
        QFile::remove(scratch->path(name + ".TXT"));
        scratch->lines(name + ".TXT", trackLines(latitudes[name]));
    }

    // The track has been read and the player asked to open the file; its
    // first frame is not up yet.
    void waitForStarting()
    {
        const int starts = started->count();
        auto starting = [&] {
            return !busy()->isVisible() && started->count() == starts && !player()->isPlaying() &&
                   !player()->isPaused() &&
                   child<QPushButton>("btnPlay")->text() == text("TXT_BTN_PAUSE");
        };
        QVERIFY2(testwait::waitUntil(starting, 20000),
                 "the gap before the first frame was not seen");
    }

    // Nothing starts or parses for a while: the list does not run on.
    void expectQuiet(int ms)
    {
        const int starts = started->count();
        const int parses = parsed.size();
        testwait::runFor(ms);
        QCOMPARE(started->count(), starts);
        QCOMPARE(parsed.size(), parses);
    }

    // `name` plays with its own track on the dashboard.
    void expectPlaying(const QString &name)
    {
        // (A file replaced just after its first frame shows for a moment.)
        QVERIFY2(QTest::qWaitFor(
                     [&] {
                         return (player()->isPlaying() || player()->isPaused()) &&
                                player()->file() == clip(name);
                     },
                     20000),
                 qPrintable(player()->file()));
        QCOMPARE(startedFiles.last(), clip(name));
        QTRY_COMPARE_WITH_TIMEOUT(child<QLCDNumber>("txtWeidu")->value(), latitudes[name], 5000);
    }

private slots:
    void initTestCase()
    {
        scratch = std::make_unique<Scratch>();
        for (const QString &name : latitudes.keys()) {
            QVERIFY(mediatest::makeAvClip(clip(name), 2, false, "64x36"));
            scratch->lines(name + ".TXT", trackLines(latitudes[name]));
        }
        parses = &parsed;
        previousHandler = qInstallMessageHandler(countParses);
    }
    void cleanupTestCase() { parses = nullptr; }

    void init()
    {
        for (const QString &name : latitudes.keys()) {
            QFile::remove(scratch->path(name + ".TXT")); // a pipe left by a failed test
            scratch->lines(name + ".TXT", trackLines(latitudes[name]));
        }
        parsed.clear();
        startedFiles.clear();
        window = std::make_unique<MainWindow>();
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        started = std::make_unique<QSignalSpy>(player(), &media::AVPlayer::started);
        stopped = std::make_unique<QSignalSpy>(player(), &media::AVPlayer::stopped);
        connect(player(), &media::AVPlayer::started, this,
                [this] { startedFiles << player()->file(); });
    }
    void cleanup()
    {
        started.reset();
        stopped.reset();
        window.reset();
    }

    // Play reads "Pause" once the track is read: pressed before the first
    // frame it pauses that video, and opens nothing new. (The button is
    // offered there once the list has been played from.)
    void playPressedBeforeTheFirstFrame()
    {
        windowfixture::drop(window.get(), {clip("A")});
        expectPlaying("A");
        child<QPushButton>("btnStop")->click();
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying() && !player()->isPaused(), 10000);

        QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
        waitForStarting();
        QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
        QCOMPARE(child<QPushButton>("btnPlay")->text(), text("TXT_BTN_START_PLAY"));
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPaused(), 20000);
        expectPlaying("A");
        QCOMPARE(parsed, QStringList({clip("A"), clip("A")}));
        QCOMPARE(started->count(), 2);
        QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
        QTRY_VERIFY(player()->isPlaying());

        // Pressed twice: it plays.
        child<QPushButton>("btnStop")->click();
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying() && !player()->isPaused(), 10000);
        QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
        waitForStarting();
        QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
        QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 20000);
        QCOMPARE(started->count(), 3);
        QCOMPARE(parsed.size(), 3);
    }

    // While the track is read Play reads "Start": pressed again it does not
    // read the track a second time.
    void playPressedWhileTheTrackIsRead()
    {
        windowfixture::drop(window.get(), {clip("A")});
        expectPlaying("A");
        child<QPushButton>("btnStop")->click();
        QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying() && !player()->isPaused(), 10000);
        holdTrack("A");
        for (int i = 0; i < 3; ++i)
            QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
        release("A");
        expectPlaying("A");
        QCOMPARE(parsed, QStringList({clip("A"), clip("A")}));
        QCOMPARE(started->count(), 2);
    }

    // A double-click on another entry while the first is read: only the
    // clicked one plays, with its track, and the list stays on it.
    void doubleClickWhileTheTrackIsRead()
    {
        holdTrack("A");
        windowfixture::drop(window.get(), clips({"A", "B", "C"}));
        auto *list = child<QListWidget>("listVideo");
        list->setCurrentRow(2);
        emit list->itemDoubleClicked(list->item(2));
        release("A");
        expectPlaying("C");
        QCOMPARE(parsed, QStringList({clip("A"), clip("C")}));
        QCOMPARE(startedFiles, QStringList(clip("C")));
        QTRY_COMPARE_WITH_TIMEOUT(stopped->count(), 1, 20000); // C ends: the last entry
        expectQuiet(1500);
        QCOMPARE(list->currentRow(), 2);
    }

    void doubleClickBeforeTheFirstFrame()
    {
        windowfixture::drop(window.get(), clips({"A", "B", "C"}));
        waitForStarting();
        auto *list = child<QListWidget>("listVideo");
        list->setCurrentRow(2);
        emit list->itemDoubleClicked(list->item(2));
        expectPlaying("C");
        // A was stopped before or just after its first frame; B never came.
        QVERIFY(!startedFiles.contains(clip("B")));
        QCOMPARE(parsed, QStringList({clip("A"), clip("C")}));
        const int stopsBeforeEnd = stopped->count();
        QTRY_COMPARE_WITH_TIMEOUT(stopped->count(), stopsBeforeEnd + 1, 20000);
        expectQuiet(1500);
        QCOMPARE(list->currentRow(), 2);
        QVERIFY(!startedFiles.contains(clip("B")));
    }

    void dropWhileTheTrackIsRead()
    {
        holdTrack("A");
        windowfixture::drop(window.get(), clips({"A", "B"}));
        windowfixture::drop(window.get(), {clip("D")});
        release("A");
        expectPlaying("D");
        QCOMPARE(startedFiles, QStringList(clip("D")));
        QCOMPARE(child<QListWidget>("listVideo")->count(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(stopped->count(), 1, 20000);
        expectQuiet(1500);
    }

    void dropBeforeTheFirstFrame()
    {
        windowfixture::drop(window.get(), clips({"A", "B"}));
        waitForStarting();
        windowfixture::drop(window.get(), {clip("D")});
        expectPlaying("D");
        QVERIFY(!startedFiles.contains(clip("B")));
        QCOMPARE(parsed, QStringList({clip("A"), clip("D")}));
        const int stops = stopped->count();
        QTRY_COMPARE_WITH_TIMEOUT(stopped->count(), stops + 1, 20000);
        expectQuiet(1500);
    }

    // Open, with the dialog answered while the first video is still being
    // opened (its track held back, so the gap lasts).
    void openWhileTheTrackIsRead()
    {
        holdTrack("A");
        windowfixture::drop(window.get(), clips({"A", "B"}));
        bool answered = false;
        QTimer::singleShot(0, this, [&] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            dialog->setDirectory(scratch->path(""));
            dialog->selectFile(clip("C"));
            QMetaObject::invokeMethod(dialog, "accept");
            answered = true;
        });
        QTest::mouseClick(child<QPushButton>("btnOpenFile"), Qt::LeftButton);
        QTRY_VERIFY(answered);
        release("A");
        expectPlaying("C");
        QCOMPARE(startedFiles, QStringList(clip("C")));
        QTRY_COMPARE_WITH_TIMEOUT(stopped->count(), 1, 20000);
        expectQuiet(1500);
    }

    // Stop is offered from the first frame on, in neither gap.
    void stopIsNotOfferedBeforeTheFirstFrame()
    {
        holdTrack("A");
        windowfixture::drop(window.get(), clips({"A", "B"}));
        QVERIFY(!child<QPushButton>("btnStop")->isEnabled());
        release("A");
        waitForStarting();
        QVERIFY(!child<QPushButton>("btnStop")->isEnabled());
        expectPlaying("A");
        QVERIFY(child<QPushButton>("btnStop")->isEnabled());
    }

    // A burst of everything at once, in both gaps.
    void aBurstOfChoices()
    {
        for (int round = 0; round < 3; ++round) {
            windowfixture::drop(window.get(), clips({"A", "B", "C"}));
            auto *list = child<QListWidget>("listVideo");
            emit list->itemDoubleClicked(list->item(1));
            QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
            windowfixture::drop(window.get(), clips({"C", "D"}));
            waitForStarting();
            QTest::mouseClick(child<QPushButton>("btnPlay"), Qt::LeftButton);
            windowfixture::drop(window.get(), clips({"D", "A"}));
            list->setCurrentRow(1);
            emit list->itemDoubleClicked(list->item(1));
            expectPlaying("A");
            child<QPushButton>("btnStop")->click();
            QTRY_VERIFY_WITH_TIMEOUT(!player()->isPlaying() && !player()->isPaused(), 10000);
            started->clear();
            startedFiles.clear();
        }
    }
};

VELOMAR_WINDOW_TEST_MAIN(OpeningRaceTest)
#include "tst_openingrace.moc"
