// Copying a video's subtitle stream out with the real ffmpeg.

#include "testutil.h"
#include "videoinfoparse.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <sys/stat.h>

class SubtitleExtractTest : public QObject
{
    Q_OBJECT

private slots:
    void resourceFfmpegIsUsedByDefault()
    {
        Scratch s;
        const QStringList lines{"first line", "second line"};
        QVERIFY(trackgen::writeText(s.path("in.srt"), trackgen::srtDocument(lines)));
        QString error;
        QVERIFY2(trackgen::makeClip(s.path("clip.MP4"), 2, s.path("in.srt"), &error),
                 qPrintable(error));

        VideoInfoParse store;
        QCOMPARE(store.genGpsFile(s.path("clip.MP4"), s.path("clip.srt")), 0);
        QVERIFY(store.ffmpegPath.endsWith("/../res/ffmpeg"));
        const QString srt = trackgen::readText(s.path("clip.srt"));
        QVERIFY2(srt.contains("first line") && srt.contains("second line"), qPrintable(srt));
    }

    void videoWithoutSubtitlesGivesNothing()
    {
        Scratch s;
        QVERIFY(trackgen::makeClip(s.path("plain.MP4"), 1));
        VideoInfoParse store;
        QCOMPARE(store.genGpsFile(s.path("plain.MP4"), s.path("plain.srt")), -1);
        QVERIFY(!s.exists("plain.srt"));
    }

    void missingVideoOrToolGivesNothing()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.genGpsFile(s.path("none.MP4"), s.path("none.srt")), -1);
        store.ffmpegPath = s.path("no-such-ffmpeg");
        QVERIFY(trackgen::makeClip(s.path("plain.MP4"), 1));
        QTest::ignoreMessage(QtWarningMsg, qPrintable("ffmpeg not found at " + store.ffmpegPath));
        QCOMPARE(store.genGpsFile(s.path("plain.MP4"), s.path("plain.srt")), -1);
    }

    void staleSrtDoesNotHang()
    {
        // ffmpeg asks before overwriting; with its input closed it declines
        // at once instead of waiting out the 20 s.
        Scratch s;
        QVERIFY(trackgen::writeText(s.path("in.srt"), trackgen::srtDocument({"fresh"})));
        QVERIFY(trackgen::makeClip(s.path("clip.MP4"), 1, s.path("in.srt")));
        QVERIFY(trackgen::writeText(s.path("clip.srt"), "stale\n"));

        VideoInfoParse store;
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(store.genGpsFile(s.path("clip.MP4"), s.path("clip.srt")), 0);
        QVERIFY2(timer.elapsed() < 15000, "ffmpeg waited for an answer on its input");
        QCOMPARE(trackgen::readText(s.path("clip.srt")), QString("stale\n")); // left as it was
    }

    // A video that never delivers (here a pipe nobody writes to): ffmpeg is
    // ended when its time is up, not left running on it.
    void ffmpegIsEndedWhenItsTimeIsUp()
    {
        Scratch s;
        const QString fifo = s.path("stalled.MP4");
        QVERIFY(mkfifo(QFile::encodeName(fifo).constData(), 0600) == 0);
        VideoInfoParse store;
        store.extractSlices = 2; // one second instead of twenty
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^ffmpeg ended after 1 s"));
        QCOMPARE(store.genGpsFile(fifo, s.path("stalled.srt")), -1);
        QVERIFY(!s.exists("stalled.srt"));
        // No process is left with the pipe open.
        for (const QString &pid : QDir("/proc").entryList(QDir::Dirs)) {
            QFile cmdline("/proc/" + pid + "/cmdline");
            if (cmdline.open(QIODevice::ReadOnly))
                QVERIFY2(!cmdline.readAll().contains(QFile::encodeName(fifo)),
                         qPrintable("still running: pid " + pid));
        }
    }
};

QTEST_GUILESS_MAIN(SubtitleExtractTest)
#include "tst_subtitleextract.moc"
