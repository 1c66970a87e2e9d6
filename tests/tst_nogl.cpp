// Without an OpenGL context (offscreen platform, no display): no video
// output widget, and the window stops its construction after the video
// stack, as it must, without a crash.

#include "avplayer.h"
#include "mainwindow.h"
#include "media.h"
#include "videooutput.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTest>
#include <QWebEngineView>

class NoGlTest : public QObject
{
    Q_OBJECT

private slots:
    void outputHasNoWidget()
    {
        media::VideoOutput output;
        QCOMPARE(output.widget(), nullptr);
        media::AVPlayer player;
        player.setRenderer(&output); // plays on without drawing
    }

    void windowStopsAfterTheVideoStack()
    {
        MainWindow w;
        QCOMPARE(w.findChild<QWebEngineView *>(), nullptr);
        QVERIFY(!w.acceptDrops());
    }
};

int main(int argc, char **argv)
{
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    media::Widgets::registerRenderers();
    media::setLogLevel(media::LogOff);
    QApplication app(argc, argv);
    NoGlTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_nogl.moc"
