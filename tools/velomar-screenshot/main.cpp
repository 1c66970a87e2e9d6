// velomar-screenshot VIDEO OUT.png [SECOND]: the window as a person sees it
// playing VIDEO (video, dashboard, gauge, the map with the route and the
// travelled line), paused at SECOND (default 40), read back from the
// display. scripts/screenshot.sh makes the README's picture with it.

#include "appfont.h"
#include "avplayer.h"
#include "desktopurls.h"
#include "mainwindow.h"
#include "media.h"
#include "waituntil.h"
#include "windowfixture.h"

#include <QApplication>
#include <QFileInfo>
#include <QScreen>
#include <QSlider>
#include <QTemporaryDir>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <iostream>

using testwait::waitUntil;

int main(int argc, char **argv)
{
    // Settings and logs of this run go to a folder of its own.
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qunsetenv("XDG_CONFIG_HOME");
    media::returnLargeBuffersToSystem();
    media::Widgets::registerRenderers();
    media::setLogLevel(media::LogOff);
    QApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &m) {
        if (type >= QtWarningMsg || qEnvironmentVariableIsSet("VELOMAR_DEBUG"))
            std::cerr << m.toStdString() << '\n';
    });
    const QStringList args = app.arguments();
    if (args.size() < 3 || args.size() > 4) {
        std::cerr << "usage: velomar-screenshot VIDEO OUT.png [SECOND]\n";
        return 2;
    }
    const int second = args.size() == 4 ? args[3].toInt() : 40;
    applyApplicationFont();
    DesktopUrls desktop; // no browser starts for the browser copy of the map

    MainWindow window;
    window.setWindowFlags(window.windowFlags() & ~Qt::WindowMaximizeButtonHint &
                          ~Qt::WindowMinimizeButtonHint);
    window.show();
    auto *player = window.findChild<media::AVPlayer *>();
    auto *slider = window.findChild<QSlider *>("videoSlider");
    auto *view = window.findChild<QWebEngineView *>();

    windowfixture::drop(&window, {QFileInfo(args[1]).absoluteFilePath()});
    if (!waitUntil([&] { return player->isPlaying() && slider->value() >= second; }, 120000)) {
        std::cerr << "velomar-screenshot: the video did not play to second " << second
                  << " (playing: " << player->isPlaying() << ", at " << slider->value() << ")\n";
        return 1;
    }
    player->pause(true);
    bool drawn = false;
    view->page()->runJavaScript("velomarFlush(); 0", [&](const QVariant &) { drawn = true; });
    waitUntil([&] { return drawn; }, 30000);
    testwait::runFor(1500); // the map's last frame, the tile notice
    if (!window.screen()->grabWindow(window.winId()).save(args[2])) {
        std::cerr << "velomar-screenshot: cannot write " << args[2].toStdString() << '\n';
        return 1;
    }
    return 0;
}
