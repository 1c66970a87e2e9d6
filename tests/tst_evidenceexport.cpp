// Evidence clips in the real window: the stretch marked with the keys I and
// O across the clips of a drive, shown on the slider and the map's route
// (the real page in the window's web view), exported through
// "Export video…" with its dialog and progress window; Cancel stops it and
// leaves no file.

#include "avplayer.h"
#include "desktopurls.h"
#include "embedgen.h"
#include "evidenceexport.h"
#include "exportdialog.h"
#include "mainwindow.h"
#include "maptest.h"
#include "slider.h"
#include "testutil.h"
#include "trackgen.h"
#include "windowfixture.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QWebEngineView>

using windowfixture::child;

namespace {

constexpr int clipSeconds = 10;
constexpr int fps = 30;

int videoFrames(const QString &path)
{
    const Run r =
        run("ffprobe", {"-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
                        "stream=nb_read_frames", "-of", "csv=p=0", path});
    return r.out.trimmed().toInt();
}

} // namespace

class EvidenceExportTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    DesktopUrls desktop; // no browser copy of the map
    QString card;
    QStringList clips;

    // Plays clip n (0-based) of the drive, paused at `second`.
    static void pauseAt(MainWindow &window, const QString &clip, int row, int second)
    {
        media::AVPlayer *player = windowfixture::player(&window);
        auto *list = child<QListWidget>(&window, "listVideo");
        if (player->file() != clip) {
            // A double-click on its row, as a person starts it.
            list->setCurrentRow(row);
            const QPoint at = list->visualItemRect(list->item(row)).center();
            QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, at);
            QTest::mouseDClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, at);
            QTRY_VERIFY_WITH_TIMEOUT(player->file() == clip && player->isPlaying(), 20000);
        }
        player->pause(true);
        player->seek(qint64(second) * 1000);
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(player->position() - second * 1000) < 100, 10000);
    }

    // Answers the export dialog once it shows: the file, the preset.
    void answerDialog(const QString &file, const QString &preset)
    {
        QTimer::singleShot(0, this, [file, preset] {
            QTRY_VERIFY_WITH_TIMEOUT(
                qobject_cast<ExportDialog *>(QApplication::activeModalWidget()), 10000);
            auto *dialog = qobject_cast<ExportDialog *>(QApplication::activeModalWidget());
            dialog->findChild<QLineEdit *>("exportFile")->setText(file);
            auto *presets = dialog->findChild<QComboBox *>("exportPreset");
            presets->setCurrentIndex(presets->findData(preset));
            dialog->accept();
        });
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        qputenv("TZ", "UTC");
        card = dir.filePath("card/DCIM/Movie");
        QVERIFY(QDir().mkpath(card));
        const QString plain = dir.filePath("plain.mp4");
        const Run r =
            run(trackgen::ffmpegPath(),
                {"-y", "-v", "error", "-f", "lavfi", "-i",
                 QString("testsrc2=size=1280x720:rate=%1:duration=%2").arg(fps).arg(clipSeconds),
                 "-c:v", "libx264", "-preset", "ultrafast", "-g", QString::number(fps), "-pix_fmt",
                 "yuv420p", plain});
        QVERIFY2(r.exitCode == 0, r.err.constData());
        const QVector<trackgen::Fix> route = trackgen::drive(3 * clipSeconds, 48.137, 11.575);
        for (int i = 0; i < 3; ++i) {
            clips << QString("%1/2024_0514_1400%2_000%3F.MP4")
                         .arg(card)
                         .arg(i * clipSeconds, 2, 10, QChar('0'))
                         .arg(i + 1);
            embedgen::Options o;
            o.layout = "novatek";
            o.date = "2024-05-14";
            QString error;
            QVERIFY2(embedgen::write(plain, clips.last(), route.mid(i * clipSeconds, clipSeconds),
                                     o, &error),
                     qPrintable(error));
        }
    }

    void markAcrossClipsAndExport()
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        media::AVPlayer *player = windowfixture::player(&window);
        auto *list = child<QListWidget>(&window, "listVideo");
        auto *slider = child<Slider>(&window, "videoSlider");
        windowfixture::drop(&window, {dir.filePath("card")});
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 4, 30000); // a header and three clips
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying(), 20000);

        // I at 00:05 of the first clip, O at 00:05 of the third, by keys.
        pauseAt(window, clips[0], 1, 5);
        QTest::keyClick(&window, Qt::Key_I);
        QTRY_VERIFY(slider->hasMarked());
        QCOMPARE(slider->marked(false), 5.0);
        QCOMPARE(slider->marked(true), double(clipSeconds));
        pauseAt(window, clips[2], 3, 5);
        // Until O, the stretch runs from I to the drive's end.
        QCOMPARE(slider->marked(false), 0.0);
        QCOMPARE(slider->marked(true), double(clipSeconds));
        QTest::keyClick(&window, Qt::Key_O);
        QTRY_VERIFY(slider->hasMarked());
        QCOMPARE(slider->marked(false), 0.0);
        QCOMPARE(slider->marked(true), 5.0);
        // The middle clip is marked whole.
        pauseAt(window, clips[1], 2, 3);
        QCOMPARE(slider->marked(false), 0.0);
        QCOMPARE(slider->marked(true), double(clipSeconds));
        // The map draws the marked stretch over the route: its 20 fixes.
        QWebEnginePage *page = window.findChild<QWebEngineView *>()->page();
        auto markedOnMap = [page] {
            return maptest::runJs(page,
                                  "typeof velomarState === 'function' ? "
                                  "velomarState().markedPoints : -1",
                                  10000)
                .toInt();
        };
        QTRY_COMPARE_WITH_TIMEOUT(markedOnMap(), 20, 30000);

        // Export video…: the dialog, then the progress, then the notice.
        const QString out = dir.filePath("evidence.mp4");
        answerDialog(out, "fast");
        window.findChild<QAction *>("actionExportVideo")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(window.findChild<QMessageBox *>("exportDone"), 120000);
        QCOMPARE(videoFrames(out), 2 * clipSeconds * fps);
        delete window.findChild<QMessageBox *>("exportDone"); // read, and put away

        // Cancel while it runs: the progress window goes, no file stays.
        const QString cancelled = dir.filePath("cancelled.mp4");
        answerDialog(cancelled, "small");
        auto *evidence = window.findChild<EvidenceExport *>();
        QVERIFY(evidence);
        window.findChild<QAction *>("actionExportVideo")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(
            window.findChild<QProgressDialog *>("exportProgress") &&
                window.findChild<QProgressDialog *>("exportProgress")->value() > 0,
            60000);
        QVERIFY(evidence->exporting());
        auto *progress = window.findChild<QProgressDialog *>("exportProgress");
        QVERIFY(progress->labelText().contains("left"));
        QPushButton *cancelButton = progress->findChild<QPushButton *>();
        QVERIFY(cancelButton);
        QTest::mouseClick(cancelButton, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!evidence->exporting(), 10000);
        QVERIFY(!window.findChild<QMessageBox *>("exportDone"));
        QVERIFY(!window.findChild<QMessageBox *>("exportFailed"));
        QVERIFY(QDir(dir.path()).entryList({"*cancelled*"}, QDir::Files | QDir::Hidden).isEmpty());

        // Cleared marks: the slider and the map show none.
        window.findChild<QAction *>("actionClearMarks")->trigger();
        QVERIFY(!slider->hasMarked());
        QTRY_COMPARE_WITH_TIMEOUT(markedOnMap(), 0, 10000);
        player->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying() && !player->isPaused(), 10000);
    }
};

VELOMAR_WINDOW_TEST_MAIN(EvidenceExportTest)
#include "tst_evidenceexport.moc"
