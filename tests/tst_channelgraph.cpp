// The picture the cameras of a moment share: where each channel shows in
// every layout, what a click there finds, and a graph that mpv's own player
// (and so libavfilter) accepts and composes as promised.

#include "channelgraph.h"
#include "colours.h"
#include "testutil.h"

#include <QImage>
#include <QTemporaryDir>

using media::ChannelLayout;
using media::ChannelSet;

class ChannelGraphTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    QStringList clips; // blue, red, green

    // The composed first frame of the graph, through the mpv program.
    QImage compose(const ChannelSet &set, int loaded)
    {
        const QString out = dir.filePath("frame.png");
        QFile::remove(out);
        QStringList args{"--no-config",
                         "--really-quiet",
                         "--ao=null",
                         "--vo=image",
                         "--vo-image-format=png",
                         "--frames=1",
                         "--vo-image-outdir=" + dir.path(),
                         "--lavfi-complex=" + set.graph(loaded)};
        for (const QString &f : set.externalFiles(loaded))
            args << "--external-file=" + f;
        args << set.files[loaded];
        const Run r = run("mpv", args, 60000);
        if (r.exitCode != 0)
            qWarning() << r.err;
        return QImage(dir.filePath("00000001.png"));
    }
private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        for (const char *colour : {"blue", "red", "green"}) {
            const QString path = dir.filePath(QString(colour) + ".mp4");
            QVERIFY(colours::clip(path, colour, {320, 180}, 1));
            clips << path;
        }
    }

    void oneChannelNeedsNoGraph()
    {
        const ChannelSet one{{"/a.mp4"}, 0, ChannelLayout::Grid};
        QVERIFY(one.graph(0).isEmpty());
        QVERIFY(one.externalFiles(0).isEmpty());
        QCOMPARE(one.rect(0), QRectF(0, 0, 1, 1));
    }

    void whereEachChannelShows()
    {
        ChannelSet set{{"f", "r", "i"}, 1, ChannelLayout::PictureInPicture};
        QCOMPARE(set.shown(), QVector<int>({1, 0, 2}));
        QCOMPARE(set.rect(1), QRectF(0, 0, 1, 1));
        QCOMPARE(set.rect(0), QRectF(0.73, 0.02, 0.25, 0.25));
        QCOMPARE(set.rect(2), QRectF(0.73, 0.29, 0.25, 0.25));
        QCOMPARE(set.channelAt({0.8, 0.1}), 0);
        QCOMPARE(set.channelAt({0.8, 0.4}), 2);
        QCOMPARE(set.channelAt({0.2, 0.9}), 1);
        QCOMPARE(set.channelAt({1.2, 0.5}), -1);
        set.layout = ChannelLayout::SideBySide;
        QCOMPARE(set.channelAt({0.1, 0.5}), 1);
        QCOMPARE(set.channelAt({0.5, 0.5}), 0);
        QCOMPARE(set.channelAt({0.9, 0.5}), 2);
        set.layout = ChannelLayout::Grid;
        QCOMPARE(set.rect(2), QRectF(0, 0.5, 0.5, 0.5));
        QCOMPARE(set.channelAt({0.75, 0.75}), -1); // the cell that fills the grid
    }

    // mpv composes what rect() says, in every layout, with a missing
    // channel as a placeholder, whichever file is the one opened.
    void mpvComposesIt_data()
    {
        QTest::addColumn<int>("layout");
        QTest::addColumn<int>("main");
        QTest::addColumn<bool>("missing");
        for (int layout : {0, 1, 2})
            for (int main : {0, 1})
                for (bool missing : {false, true})
                    QTest::addRow("layout %d, main %d%s", layout, main,
                                  missing ? ", third missing" : "")
                        << layout << main << missing;
    }
    void mpvComposesIt()
    {
        QFETCH(int, layout);
        QFETCH(int, main);
        QFETCH(bool, missing);
        ChannelSet set{clips, main, ChannelLayout(layout)};
        if (missing)
            set.files[2].clear();
        const QImage frame = compose(set, 0);
        QVERIFY(!frame.isNull());
        const char *names[] = {"blue", "red", "green"};
        for (int channel = 0; channel < 3; ++channel) {
            const QRectF r = set.rect(channel);
            // Inside the picture, clear of another one's edge.
            const QPointF probe =
                channel == main ? QPointF(r.left() + r.width() * 0.2, r.top() + r.height() * 0.8)
                                : r.center();
            QCOMPARE(colours::at(frame, probe),
                     QString(missing && channel == 2 ? "placeholder" : names[channel]));
        }
    }
};

QTEST_GUILESS_MAIN(ChannelGraphTest)
#include "tst_channelgraph.moc"
