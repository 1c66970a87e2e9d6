// The hover preview: the frame of the asked time, decoded off the GUI thread.

#include "mediatest.h"
#include "videopreviewwidget.h"

#include <QSignalSpy>
#include <memory>

using namespace media;

class VideoPreviewTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Scratch> scratch;
    QString clip;

    QImage reference(double seconds)
    {
        return mediatest::ffmpegFrame(clip, seconds, scratch->path("ref.png"))
            .scaled(160, 90, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }

private slots:
    void initTestCase()
    {
        scratch = std::make_unique<Scratch>();
        // 16:9, so the frame fills the 160 x 90 window without bars.
        clip = scratch->path("clip.MP4");
        QVERIFY(mediatest::makeAvClip(clip, 4, false, "640x360"));
    }

    void showsTheFrameOfTheAskedTime()
    {
        VideoPreviewWidget preview;
        preview.resize(160, 90);
        QSignalSpy got(&preview, &VideoPreviewWidget::gotFrame);
        preview.setFile(clip);
        preview.setTimestamp(2000);
        preview.preview();
        QVERIFY(got.wait(15000));
        QCOMPARE(got.at(0).at(0).toLongLong(), qint64(2000));
        QCOMPARE(preview.frameTimestamp(), qint64(2000));
        const QImage shown = preview.frame().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(shown.size(), QSize(160, 90));
        const double near = mediatest::meanDifference(shown, reference(2.0));
        const double far = mediatest::meanDifference(shown, reference(3.0));
        QVERIFY2(near < 8.0 && far > near * 1.5,
                 qPrintable(QString("near %1, far %2").arg(near).arg(far)));

        // Another time of the same file.
        preview.setTimestamp(600);
        preview.preview();
        QVERIFY(got.wait(15000));
        QCOMPARE(preview.frameTimestamp(), qint64(600));
        QVERIFY(mediatest::meanDifference(preview.frame(), reference(0.6)) <
                mediatest::meanDifference(preview.frame(), reference(2.0)));
    }

    void onlyTheNewestOfManyRequestsIsShown()
    {
        VideoPreviewWidget preview;
        preview.resize(160, 90);
        QSignalSpy got(&preview, &VideoPreviewWidget::gotFrame);
        preview.setFile(clip);
        int requests = 0;
        for (qint64 ms = 0; ms <= 3000; ms += 40, ++requests) {
            preview.setTimestamp(ms);
            preview.preview();
        }
        QTRY_COMPARE_WITH_TIMEOUT(preview.frameTimestamp(), qint64(3000), 15000);
        QTest::qWait(500);
        QVERIFY2(got.count() < requests / 4, qPrintable(QString::number(got.count())));
        QCOMPARE(got.last().at(0).toLongLong(), qint64(3000));
    }

    void emptyFileClearsThePicture()
    {
        VideoPreviewWidget preview;
        QSignalSpy got(&preview, &VideoPreviewWidget::gotFrame);
        preview.setFile(clip);
        preview.setTimestamp(1000);
        preview.preview();
        QVERIFY(got.wait(15000));
        preview.setFile("");
        QVERIFY(preview.frame().isNull());
        QCOMPARE(preview.frameTimestamp(), qint64(-1));
        preview.preview(); // nothing to show: no request
        QTest::qWait(300);
        QCOMPARE(got.count(), 1);
    }

    void badFileReportsFailure()
    {
        VideoPreviewWidget preview;
        QSignalSpy failed(&preview, &VideoPreviewWidget::failed);
        preview.setFile(scratch->bytes("bad.MP4", QByteArray(5000, 'x')));
        preview.setTimestamp(0);
        preview.preview();
        QVERIFY(failed.wait(15000));
        QVERIFY(preview.frame().isNull());
        // And recovers on a good file.
        QSignalSpy got(&preview, &VideoPreviewWidget::gotFrame);
        preview.setFile(clip);
        preview.preview();
        QVERIFY(got.wait(15000));
    }

    void closingWhileDecodingIsSafe()
    {
        auto *preview = new VideoPreviewWidget;
        preview->setFile(clip);
        preview->setTimestamp(3500);
        preview->preview();
        delete preview; // joins the decoder mid-request: must neither hang nor crash
    }
};

VELOMAR_MEDIA_TEST_MAIN(VideoPreviewTest)
#include "tst_videopreview.moc"
