// The player, its video output and capture, on clips that ffmpeg makes.

#include "audiooutput.h"
#include "avplayer.h"
#include "mediatest.h"
#include "videocapture.h"
#include "videooutput.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStackedLayout>
#include <QStandardPaths>
#include <QVBoxLayout>
#include <memory>

using namespace media;

class AVPlayerTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Scratch> scratch;
    QString mp4, mov, avi, silent, truncated, noise;

    std::unique_ptr<QWidget> window;
    VideoOutput *output = nullptr;
    AVPlayer *player = nullptr;
    QStringList events; // "started", "position", "error", "stopped" in order

    int count(const QString &what) const { return events.count(what); }

private slots:
    void initTestCase()
    {
        scratch = std::make_unique<Scratch>();
        mp4 = scratch->path("clip.MP4");
        mov = scratch->path("clip.MOV");
        avi = scratch->path("clip.AVI");
        silent = scratch->path("silent.MP4");
        QVERIFY(mediatest::makeAvClip(mp4, 3));
        QVERIFY(mediatest::makeAvClip(mov, 2));
        QVERIFY(mediatest::makeAvClip(avi, 2));
        QVERIFY(mediatest::makeAvClip(silent, 2, false));
        // Cut before its index (written at the end): nothing can be played.
        QFile whole(mp4);
        QVERIFY(whole.open(QIODevice::ReadOnly));
        truncated = scratch->bytes("truncated.MP4", whole.read(whole.size() / 2));
        QByteArray bytes;
        quint32 x = 12345;
        for (int i = 0; i < 200000; ++i) {
            x = x * 1103515245u + 12345u;
            bytes += char(x >> 24);
        }
        noise = scratch->bytes("noise.MP4", bytes);
    }

    void init()
    {
        events.clear();
        window = std::make_unique<QWidget>();
        window->resize(320, 240);
        output = new VideoOutput(window.get());
        QVERIFY2(output->widget(), "no OpenGL video output");
        auto *layout = new QVBoxLayout(window.get());
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(output->widget());
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        player = new AVPlayer(window.get());
        player->setRenderer(output);
        connect(player, &AVPlayer::started, this, [this] { events << "started"; });
        connect(player, &AVPlayer::positionChanged, this, [this] { events << "position"; });
        connect(player, &AVPlayer::stopped, this, [this] { events << "stopped"; });
        connect(player, &AVPlayer::error, this, [this] { events << "error"; });
    }

    void cleanup()
    {
        delete player; // before its output, as the window does it the other way
        player = nullptr;
        window.reset();
    }

    void signalOrderOverAWholeFile()
    {
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("stopped"), 1, 20000);
        QCOMPARE(events.first(), QString("started"));
        QCOMPARE(events.last(), QString("stopped"));
        QCOMPARE(count("started"), 1);
        QVERIFY2(count("position") >= 20, qPrintable(QString::number(count("position"))));
        QCOMPARE(count("error"), 0);
        QTest::qWait(500);
        QCOMPARE(count("stopped"), 1); // once only
        QVERIFY(!player->isPlaying());
        QVERIFY(output->renderedFrames() > 10);
    }

    void durationAndPositionWithinAFrame()
    {
        qint64 last = -1;
        connect(player, &AVPlayer::positionChanged, this, [&last](qint64 ms) { last = ms; });
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        QVERIFY(qAbs(player->duration() - 3000) <= 40);
        QCOMPARE(player->file(), mp4);
        QTRY_VERIFY_WITH_TIMEOUT(player->position() >= 1000, 10000);
        QCOMPARE(player->position(), last);
        // Paused on an exact seek, the position is that frame's time.
        player->pause(true);
        QTRY_VERIFY(player->isPaused());
        player->seek(2200);
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(player->position() - 2200) <= 40, 5000);
        QCOMPARE(player->position(), last);
        player->pause(false);
        QTRY_COMPARE_WITH_TIMEOUT(count("stopped"), 1, 10000);
        QVERIFY2(last > 2200, qPrintable(QString::number(last))); // played on to the end
    }

    void pauseHoldsThePosition()
    {
        player->play(mp4);
        QTRY_VERIFY_WITH_TIMEOUT(player->position() >= 500, 10000);
        player->pause(true);
        QTRY_VERIFY(player->isPaused());
        QVERIFY(!player->isPlaying());
        QTest::qWait(200);
        const qint64 held = player->position();
        const int positions = count("position");
        QTest::qWait(800);
        QCOMPARE(player->position(), held);
        QCOMPARE(count("position"), positions);
        player->pause(false);
        QTRY_VERIFY(player->isPlaying());
        QTRY_VERIFY_WITH_TIMEOUT(player->position() > held + 200, 5000);
    }

    void seekLandsOnTarget_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<qint64>("target");
        QTest::newRow("paused, forward") << true << qint64(1840);
        QTest::newRow("paused, between frames") << true << qint64(1234);
        QTest::newRow("playing") << false << qint64(2000);
    }
    void seekLandsOnTarget()
    {
        QFETCH(bool, paused);
        QFETCH(qint64, target);
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        if (paused) {
            player->pause(true);
            QTRY_VERIFY(player->isPaused());
        }
        // Where playback lands shows in the positions reported after the
        // seek; while playing it moves on at once, so look at all of them.
        bool landed = false;
        connect(player, &AVPlayer::positionChanged, this,
                [&landed, target](qint64 ms) { landed = landed || qAbs(ms - target) <= 100; });
        player->seek(target);
        QTRY_VERIFY_WITH_TIMEOUT(landed, 5000);
        if (paused) {
            QTest::qWait(300);
            QVERIFY2(qAbs(player->position() - target) <= 100,
                     qPrintable(QString::number(player->position())));
        }
    }

    void stopEmitsStoppedOnce()
    {
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        QVERIFY(player->isPlaying());
        player->stop();
        QTRY_COMPARE(count("stopped"), 1);
        QTest::qWait(300);
        QCOMPARE(count("stopped"), 1);
        QVERIFY(!player->isPlaying());
        QVERIFY(!player->isPaused());
    }

    void badFileGivesErrorThenStoppedThenPlaysOn_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("truncated") << "truncated.MP4";
        QTest::newRow("random bytes") << "noise.MP4";
        QTest::newRow("missing") << "missing.MP4";
    }
    void badFileGivesErrorThenStoppedThenPlaysOn()
    {
        QFETCH(QString, name);
        QString message;
        connect(player, &AVPlayer::error, this,
                [&message](const AVError &e) { message = e.string(); });
        player->play(scratch->path(name));
        QTRY_COMPARE_WITH_TIMEOUT(count("stopped"), 1, 10000);
        QCOMPARE(events, QStringList({"error", "stopped"}));
        QVERIFY2(message.contains(name), qPrintable(message));
        player->play(mov);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
    }

    void playFromTheStoppedHandler()
    {
        QStringList queue{mov, avi};
        connect(player, &AVPlayer::stopped, this, [this, &queue] {
            if (!queue.isEmpty())
                player->play(queue.takeFirst());
        });
        player->play(silent);
        QTRY_COMPARE_WITH_TIMEOUT(count("stopped"), 3, 30000);
        QCOMPARE(count("started"), 3);
        QCOMPARE(events.filter(QRegularExpression("started|stopped")),
                 QStringList({"started", "stopped", "started", "stopped", "started", "stopped"}));
        QCOMPARE(player->file(), avi);
    }

    void replacingAPlayingFileStopsItOnce()
    {
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        player->play(mov);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 2, 10000);
        QCOMPARE(count("stopped"), 1);
        QCOMPARE(player->file(), mov);
    }

    // Before the first frame: a stop, or a new file, still ends the file
    // asked for with exactly one stopped().
    void stopBeforeTheFirstFrameStopsOnce()
    {
        player->play(mp4);
        player->stop();
        QTRY_COMPARE_WITH_TIMEOUT(count("stopped"), 1, 10000);
        QTest::qWait(500);
        QCOMPARE(events, QStringList({"stopped"}));
        QVERIFY(!player->isPlaying() && !player->isPaused());
    }

    void replacingBeforeTheFirstFrameStopsOnce()
    {
        player->play(mp4);
        player->play(mov);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        QCOMPARE(events.first(), QString("stopped"));
        QCOMPARE(count("stopped"), 1);
        QCOMPARE(player->file(), mov);
        player->stop();
        QTRY_COMPARE_WITH_TIMEOUT(count("stopped"), 2, 10000);
    }

    void containersAndAudio_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("hasAudio");
        QTest::newRow("MP4") << "clip.MP4" << true;
        QTest::newRow("MOV") << "clip.MOV" << true;
        QTest::newRow("AVI") << "clip.AVI" << true;
        QTest::newRow("no audio") << "silent.MP4" << false;
    }
    void containersAndAudio()
    {
        QFETCH(QString, name);
        QFETCH(bool, hasAudio);
        player->play(scratch->path(name));
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(player->audio() != nullptr, hasAudio, 3000);
        QVERIFY(player->duration() >= 1900);
    }

    void hiddenOutputKeepsThePace()
    {
        // As on the window's stacked video page before the first start.
        auto *stack = new QStackedLayout;
        QWidget holder;
        holder.setLayout(stack);
        auto *banner = new QWidget;
        stack->addWidget(output->widget());
        stack->addWidget(banner);
        stack->setCurrentIndex(1);
        holder.show();
        QTest::qWait(200); // let the page change settle
        const int drawnBefore = output->renderedFrames();
        QElapsedTimer clock;
        clock.start();
        player->play(mov);
        QTRY_COMPARE_WITH_TIMEOUT(count("stopped"), 1, 20000);
        QCOMPARE(count("started"), 1);
        QVERIFY2(clock.elapsed() < 8000, "playback crawled without a visible output");
        QCOMPARE(output->renderedFrames(), drawnBefore); // acknowledged, not drawn
        stack->removeWidget(output->widget());
        output->widget()->setParent(nullptr);
    }

    void captureMatchesTheDecodedFrame()
    {
        QCOMPARE(player->videoCapture()->captureDir(),
                 QStandardPaths::writableLocation(QStandardPaths::PicturesLocation));
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        player->pause(true);
        player->seek(1000);
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(player->position() - 1000) <= 20, 5000);
        QTest::qWait(200);

        VideoCapture *capture = player->videoCapture();
        capture->setCaptureDir(scratch->path(""));
        capture->setCaptureName("snap");
        QSignalSpy captured(capture, &VideoCapture::imageCaptured);
        QSignalSpy saved(capture, &VideoCapture::saved);
        capture->capture();
        QCOMPARE(captured.count(), 1);
        const QImage image = captured.at(0).at(0).value<QImage>();
        QCOMPARE(image.size(), QSize(320, 240));

        const QImage same = mediatest::ffmpegFrame(mp4, 1.0, scratch->path("f1.png"));
        const QImage other = mediatest::ffmpegFrame(mp4, 2.0, scratch->path("f2.png"));
        const double near = mediatest::meanDifference(image, same);
        const double far = mediatest::meanDifference(image, other);
        QVERIFY2(near < 3.0 && far > near * 2,
                 qPrintable(QString("near %1, far %2").arg(near).arg(far)));

        QTRY_COMPARE_WITH_TIMEOUT(saved.count(), 1, 5000);
        const QString path = saved.at(0).at(0).toString();
        QCOMPARE(path, scratch->path("snap.jpg"));
        QCOMPARE(QImage(path).size(), QSize(320, 240));
    }

    void outputShowsTheFrameUpright()
    {
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        player->pause(true);
        player->seek(1000);
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(player->position() - 1000) <= 20, 5000);
        const QImage frame = player->videoCapture()->grab().scaled(
            output->widget()->size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        // The screen follows within a few frames, later on a loaded machine.
        QImage shown;
        double upright = 1e9;
        QTRY_VERIFY_WITH_TIMEOUT((shown = output->grabShown().convertToFormat(QImage::Format_RGB32),
                                  upright = mediatest::meanDifference(shown, frame)) < 10,
                                 5000);
        QCOMPARE(shown.size(), output->widget()->size());
        const double flipped = mediatest::meanDifference(shown, frame.mirrored(false, true));
        QVERIFY2(upright < 10 && flipped > upright * 2,
                 qPrintable(QString("upright %1, flipped %2").arg(upright).arg(flipped)));
    }

    void captureWithoutFrameFails()
    {
        QSignalSpy failed(player->videoCapture(), &VideoCapture::failed);
        QSignalSpy captured(player->videoCapture(), &VideoCapture::imageCaptured);
        player->videoCapture()->capture();
        QCOMPARE(failed.count(), 1);
        QCOMPARE(captured.count(), 0);
    }

    void captureToAnUnwritableFolderFails()
    {
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        VideoCapture *capture = player->videoCapture();
        capture->setCaptureDir(scratch->path("no/such/folder"));
        QSignalSpy failed(capture, &VideoCapture::failed);
        QSignalSpy saved(capture, &VideoCapture::saved);
        capture->capture();
        QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, 5000);
        QCOMPARE(saved.count(), 0);
    }

    void volumeIsALinearGain()
    {
        QVERIFY(qAbs(AudioOutput::gainToMpvVolume(2.0) - 125.992) < 0.001);
        QCOMPARE(AudioOutput::gainToMpvVolume(1.0), 100.0);
        QVERIFY(qAbs(AudioOutput::mpvVolumeToGain(125.992105) - 2.0) < 1e-6);
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(player->audio(), 3000);
        AudioOutput *audio = player->audio();
        for (qreal gain : {0.0, 0.04, 1.0, 1.9999999552965164, 3.999999910593033, 4.0}) {
            QVERIFY(audio->setVolume(gain));
            QVERIFY2(qAbs(audio->volume() - gain) < 1e-6,
                     qPrintable(QString::number(audio->volume())));
        }
    }

    void channelLayoutChange()
    {
        player->play(mp4);
        QTRY_COMPARE_WITH_TIMEOUT(count("started"), 1, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(player->audio(), 3000);
        AudioOutput *audio = player->audio();
        for (auto layout : {AudioFormat::ChannelLayout_Left, AudioFormat::ChannelLayout_Right,
                            AudioFormat::ChannelLayout_Mono, AudioFormat::ChannelLayout_Stereo}) {
            QVERIFY(audio->close());
            AudioFormat format = audio->audioFormat();
            format.setChannelLayout(layout);
            audio->setAudioFormat(format);
            QVERIFY(audio->open());
            QCOMPARE(audio->audioFormat().channelLayout(), layout);
        }
        QTRY_VERIFY_WITH_TIMEOUT(player->audio(), 3000);
        QVERIFY(player->isPlaying());
    }
};

VELOMAR_MEDIA_TEST_MAIN(AVPlayerTest)
#include "tst_avplayer.moc"
