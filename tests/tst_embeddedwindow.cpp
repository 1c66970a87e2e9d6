// The window playing videos whose GPS is inside them (GoPro GPMF, Novatek
// freeGPS): the dashboard follows the drive the test wrote into each.

#include "embedgen.h"
#include "mainwindow.h"
#include "media.h"
#include "qmeter.h"
#include "windowfixture.h"

#include <QLCDNumber>
#include <QListWidget>
#include <QSet>
#include <QTemporaryDir>
#include <cmath>

using windowfixture::child;
using windowfixture::lcdShows;

class EmbeddedWindowTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder;
    QVector<trackgen::Fix> drive;
    QStringList videos;
    QStringList mismatches;
    QSet<QString> checked; // "video/second"

private slots:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        drive = trackgen::drive(6, 45.4978, 9.1880, 15 * 3600);
        for (const char *layout : {"gpmf", "novatek"}) {
            embedgen::Options o;
            o.layout = layout;
            const QString out = folder.filePath(QString(layout).toUpper() + ".MP4");
            QString error;
            QVERIFY2(embedgen::make(out, drive, o, &error), qPrintable(error));
            videos << out;
        }
    }

    void dashboardFollowsTheEmbeddedTrack()
    {
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        media::AVPlayer *player = windowfixture::player(&window);
        connect(player, &media::AVPlayer::positionChanged, this,
                [&](qint64) { checkDashboard(&window); });

        windowfixture::drop(&window, videos);
        auto *list = child<QListWidget>(&window, "listVideo");
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 2, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(player->isPlaying(), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(list->currentRow() == 1 && player->isPlaying(), 30000);
        QTRY_VERIFY_WITH_TIMEOUT(!player->isPlaying(), 30000);

        QVERIFY2(mismatches.isEmpty(), qPrintable(mismatches.join('\n')));
        for (int v = 0; v < videos.size(); ++v)
            for (int s : {1, 3, 4})
                QVERIFY2(
                    checked.contains(QStringLiteral("%1/%2").arg(v).arg(s)),
                    qPrintable(QStringLiteral("%1 at %2 s never shown").arg(videos[v]).arg(s)));
    }

private:
    void checkDashboard(MainWindow *window)
    {
        media::AVPlayer *player = windowfixture::player(window);
        const int row = videos.indexOf(player->file());
        if (!player->isPlaying() || row < 0)
            return;
        const int s = int(player->position() / 1000);
        if (s >= drive.size())
            return;
        const QString key = QStringLiteral("%1/%2").arg(row).arg(s);
        if (checked.contains(key))
            return;
        checked.insert(key);

        const trackgen::Fix &f = drive[s];
        auto lcd = [window](const char *name) { return child<QLCDNumber>(window, name); };
        auto expect = [&](bool ok, const QString &what) {
            if (!ok)
                mismatches << QStringLiteral("%1 at %2 s: %3").arg(videos[row]).arg(s).arg(what);
        };
        // Novatek keeps float minutes: the sixth decimal may differ by a few.
        expect(lcdShows(lcd("txtTime"), trackgen::hhmmss(f.secondOfDay, ":")), "time");
        expect(std::abs(lcd("txtWeidu")->value() - f.latitude) < 2e-5,
               QStringLiteral("latitude %1, expected %2")
                   .arg(lcd("txtWeidu")->value())
                   .arg(f.latitude));
        expect(std::abs(lcd("txtJingdu")->value() - f.longitude) < 2e-5,
               QStringLiteral("longitude %1, expected %2")
                   .arg(lcd("txtJingdu")->value())
                   .arg(f.longitude));
        expect(std::abs(window->findChild<QMeter *>()->value() - f.speedKmh) < 0.6,
               QStringLiteral("gauge %1, expected %2")
                   .arg(window->findChild<QMeter *>()->value())
                   .arg(f.speedKmh));
        expect(std::abs(lcd("txtCurSpeed")->value() - int(f.speedKmh)) <= 1, "current speed");
    }
};

VELOMAR_WINDOW_TEST_MAIN(EmbeddedWindowTest)

#include "tst_embeddedwindow.moc"
