// Playing videos with their tracks in the real window: drops, the busy
// parse, the dashboard, the play list, a bad file, snapshots, the hover tip.

#include "avplayer.h"
#include "config.h"
#include "desktopurls.h"
#include "mainwindow.h"
#include "media.h"
#include "mediatest.h"
#include "qmeter.h"
#include "videoinfoparse.h"
#include "videopreviewwidget.h"
#include "windowfixture.h"

#include <QComboBox>
#include <QDir>
#include <QDropEvent>
#include <QLCDNumber>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QRegularExpression>
#include <QSlider>
#include <QTimer>
#include <QToolTip>
#include <cmath>
#include <memory>

class PlaybackTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Scratch> scratch;
    QVector<trackgen::Fix> driveA;
    std::unique_ptr<MainWindow> window;

    template <typename T> T *child(const char *name)
    {
        T *c = window->findChild<T *>(name);
        if (!c)
            qFatal("no child %s", name);
        return c;
    }
    media::AVPlayer *player() { return window->findChild<media::AVPlayer *>(); }

    void drop(const QStringList &paths) { windowfixture::drop(window.get(), paths); }
    DesktopUrls desktop; // no browser, no file manager

private slots:
    void initTestCase()
    {
        scratch = std::make_unique<Scratch>();
        driveA = trackgen::drive(5, -33.8688, -70.6693);
        QStringList lines;
        for (const trackgen::Fix &f : driveA)
            lines << trackgen::rmcLine(f);
        scratch->lines("a.TXT", lines);
        QVERIFY(mediatest::makeAvClip(scratch->path("a.MP4"), 5));
        QVERIFY(mediatest::makeAvClip(scratch->path("b.MP4"), 3));
        scratch->bytes("bad.MP4", QByteArray(100000, 'x'));
        // One clip for each kind of track source.
        const QVector<trackgen::Fix> drive = trackgen::drive(3);
        QStringList info, converted, rmc;
        for (const trackgen::Fix &f : drive) {
            info << trackgen::infoLine(f);
            converted << trackgen::convertedLine(f);
            rmc << trackgen::rmcLine(f);
        }
        scratch->lines("c.info", info);
        scratch->lines("d.map", converted);
        scratch->bytes("e.GPX", trackgen::gpxDocument(drive).toUtf8());
        QVERIFY(trackgen::writeText(scratch->path("f.srt"), trackgen::srtDocument(rmc)));
        scratch->lines("20170101_120000A.TXT", rmc);
        for (const char *name : {"c.MP4", "d.MP4", "e.MP4", "g.MP4", "20170101_120000B.MP4"})
            QVERIFY(mediatest::makeAvClip(scratch->path(name), 3));
        QVERIFY(trackgen::makeClip(scratch->path("f.MP4"), 3, scratch->path("f.srt")));
        scratch->bytes("notes.txt", "not a video");
    }

    void init() { window = std::make_unique<MainWindow>(); }
    void cleanup() { window.reset(); }

    void dropPlaysTheVideoWithItsTrack()
    {
        window->show();
        drop({scratch->path("a.MP4")});
        QCOMPARE(child<QListWidget>("listVideo")->count(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>("videoSlider")->value() >= 2, 10000);
        QCOMPARE(child<QSlider>("videoSlider")->maximum(), 5);
        QVERIFY(child<QPushButton>("btnStop")->isEnabled());
        // The dashboard at the second shown: magnitudes, truncated speed.
        const int s = child<QSlider>("videoSlider")->value();
        VideoInfoParse store;
        QCOMPARE(store.parseFile(scratch->path("a.MP4")), 0);
        const VideoInfo *v = store.videoInfoMap.value(s);
        QCOMPARE(child<QLCDNumber>("txtWeidu")->value(),
                 QString::number(v->latitude, 'f', 6).toDouble());
        QCOMPARE(child<QLCDNumber>("txtJingdu")->value(),
                 QString::number(v->longitude, 'f', 6).toDouble());
        QCOMPARE(child<QLCDNumber>("txtCurSpeed")->value(), double(int(v->speed)));
        QCOMPARE(child<QLCDNumber>("txtMaxSpeed")->value(),
                 QString::number(store.maxSpeed, 'f', 2).toDouble());
        QCOMPARE(child<QLCDNumber>("txtDistance")->value(),
                 QString::number(store.totalDistance, 'f', 2).toDouble());
        const double average = store.totalDistance * 3600.0 / double(player()->duration() / 1000);
        QCOMPARE(child<QLCDNumber>("txtAvgSpeed")->value(),
                 QString::number(average, 'f', 2).toDouble());
        QCOMPARE(child<QLabel>("txtTotalTime")->text(), QString("00:05"));
    }

    void dropWithoutVideosStartsNothing()
    {
        drop({scratch->path("notes.txt")});
        QCOMPARE(child<QListWidget>("listVideo")->count(), 0);
        QTest::qWait(500);
        QVERIFY(!player()->isPlaying());
        QVERIFY(!child<QPushButton>("btnPlay")->isEnabled());
    }

    void naturalEndPlaysTheNextEntry()
    {
        window->show();
        drop({scratch->path("b.MP4"), scratch->path("a.MP4")});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        QCOMPARE(player()->file(), scratch->path("b.MP4"));
        QTRY_COMPARE_WITH_TIMEOUT(player()->file(), scratch->path("a.MP4"), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        QCOMPARE(child<QListWidget>("listVideo")->currentRow(), 1);
    }

    void stopDoesNotGoOn()
    {
        window->show();
        drop({scratch->path("b.MP4"), scratch->path("a.MP4")});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        child<QPushButton>("btnStop")->click();
        QTRY_VERIFY(!player()->isPlaying());
        QTest::qWait(1500);
        QVERIFY(!player()->isPlaying());
        QCOMPARE(child<QListWidget>("listVideo")->currentRow(), 0);
        QCOMPARE(child<QLCDNumber>("txtCurSpeed")->value(), 0.0);
    }

    void badFileResetsAndTheNextPlays()
    {
        window->show();
        drop({scratch->path("bad.MP4"), scratch->path("b.MP4"), scratch->path("a.MP4")});
        QTRY_COMPARE_WITH_TIMEOUT(player()->file(), scratch->path("b.MP4"), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        QCOMPARE(child<QListWidget>("listVideo")->currentRow(), 1); // b, not a
    }

    void snapshotLandsAndShows()
    {
        window->show();
        drop({scratch->path("a.MP4")});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>("videoSlider")->value() >= 1, 10000);
        child<QPushButton>("btnSnap")->click();
        QTRY_VERIFY_WITH_TIMEOUT(window->windowTitle().startsWith("saved to: "), 10000);
        const QString path = window->windowTitle().mid(QString("saved to: ").size());
        QVERIFY2(QFile::exists(path), qPrintable(path));
        QVERIFY(QRegularExpression("/\\d{14}\\.jpg$").match(path).hasMatch());
        QVERIFY(path.contains("/" + Config::customer() + "/"));
        QVERIFY(!child<QLabel>("photoPreview")->pixmap(Qt::ReturnByValue).isNull());
    }

    void eachTrackSource_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("hasTrack");
        QTest::newRow(".info") << "c.MP4" << true;
        QTest::newRow(".map") << "d.MP4" << true;
        QTest::newRow(".GPX, first opening") << "e.MP4" << false;
        QTest::newRow(".GPX, second opening") << "e.MP4" << true;
        QTest::newRow("subtitle stream") << "f.MP4" << true;
        QTest::newRow("no track") << "g.MP4" << false;
        QTest::newRow("B borrows A's track") << "20170101_120000B.MP4" << true;
    }
    void eachTrackSource()
    {
        QFETCH(QString, name);
        QFETCH(bool, hasTrack);
        window->show();
        drop({scratch->path(name)});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>("videoSlider")->value() >= 1, 10000);
        QCOMPARE(child<QLCDNumber>("txtMaxSpeed")->value() > 0, hasTrack);
        QCOMPARE(child<QLCDNumber>("txtWeidu")->value() > 0, hasTrack);
    }

    void milesPerHour()
    {
        window->show();
        child<QComboBox>("cmbSpeedUnit")->setCurrentIndex(1);
        drop({scratch->path("a.MP4")});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(child<QSlider>("videoSlider")->value() >= 1, 10000);
        player()->pause(true);
        QTRY_VERIFY(player()->isPaused());
        const int s = child<QSlider>("videoSlider")->value();
        VideoInfoParse store;
        store.parseFile(scratch->path("a.MP4"));
        const double speed = store.videoInfoMap.value(s)->speed;
        QCOMPARE(child<QLCDNumber>("txtCurSpeed")->value(), double(int(speed * 0.6213712)));
        QVERIFY(qAbs(window->findChild<QMeter *>()->value() - speed * 0.6213712) < 1e-9);
        QCOMPARE(child<QLCDNumber>("txtMaxSpeed")->value(),
                 QString::number(store.maxSpeed * 0.6213712, 'f', 2).toDouble());
    }

    void seekRules()
    {
        window->show();
        drop({scratch->path("a.MP4")});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        // Into the last two seconds: two seconds earlier, the slider pinned.
        window->seekBySlider(4);
        QCOMPARE(child<QSlider>("videoSlider")->value(), child<QSlider>("videoSlider")->maximum());
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(player()->position() - 2000) < 600, 5000);
        // Paused: a seek does nothing.
        player()->pause(true);
        QTRY_VERIFY(player()->isPaused());
        const qint64 held = player()->position();
        window->seekBySlider(0);
        QTest::qWait(500);
        QCOMPARE(player()->position(), held);
    }

    void doubleClickWhilePlaying()
    {
        window->show();
        drop({scratch->path("b.MP4"), scratch->path("a.MP4")});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        QCOMPARE(player()->file(), scratch->path("b.MP4"));
        auto *list = child<QListWidget>("listVideo");
        list->setCurrentRow(1);
        const QPoint row = list->visualItemRect(list->item(1)).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, row);
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, row);
        QTRY_COMPARE_WITH_TIMEOUT(player()->file(), scratch->path("a.MP4"), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
    }

    void hoverTipAndPreview()
    {
        window->show();
        drop({scratch->path("a.MP4")});
        QTRY_VERIFY_WITH_TIMEOUT(player()->isPlaying(), 15000);
        window->onTimeSliderHover(10, 3725);
        QCOMPARE(QToolTip::text(), QString("01:02:05"));
        media::VideoPreviewWidget *preview = nullptr;
        for (QWidget *w : QApplication::topLevelWidgets())
            if (auto *p = qobject_cast<media::VideoPreviewWidget *>(w))
                preview = p;
        QVERIFY(preview && preview->isVisible());
        QCOMPARE(preview->size(), QSize(160, 90));
        window->onTimeSliderLeave();
        for (QWidget *w : QApplication::topLevelWidgets())
            QVERIFY(!qobject_cast<media::VideoPreviewWidget *>(w));
    }
};

VELOMAR_WINDOW_TEST_MAIN(PlaybackTest)

#include "tst_playback.moc"
