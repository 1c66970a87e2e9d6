// Velomar: start-up.

#include "appfont.h"
#include "commandline.h"
#include "config.h"
#include "debug.h"
#include "mainwindow.h"
#include "media.h"
#include "webengine.h"

#include <QApplication>
#include <QDebug>
#include <QTextCodec>
#include <QtQml/QQmlDebuggingEnabler>
#include <memory>

int main(int argc, char **argv)
{
    QCoreApplication::setApplicationName("velomar");
    QCoreApplication::setApplicationVersion(VELOMAR_VERSION);
    if (answersWithoutWindow(argc, argv)) {
        // Help, the version or a wrong option: no display needed.
        QCoreApplication core(argc, argv);
        parseCommandLine();
        return 0;
    }
    media::returnLargeBuffersToSystem();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    media::Widgets::registerRenderers();
    media::setLogLevel(media::LogOff);
    QApplication app(argc, argv);
    const CommandLine line = parseCommandLine();

    // Debugging ports only on request (--debug): both let any local program
    // into the running player.
    std::unique_ptr<QQmlDebuggingEnabler> qmlDebugging;
    if (line.debug)
        qmlDebugging = std::make_unique<QQmlDebuggingEnabler>();
    setRemoteDebugging(line.debug);

    Config::getInstance(); // the resource paths, first
    applyApplicationFont();
    qDebug() << "process name:" << argv[0];

    auto *window = new MainWindow(nullptr);
    window->setWindowFlags(window->windowFlags() & ~Qt::WindowMaximizeButtonHint &
                           ~Qt::WindowMinimizeButtonHint);
    window->show();
    std::unique_ptr<Debug> inspector;
    if (line.debug) {
        inspector = std::make_unique<Debug>();
        inspector->show();
    }
    window->openPaths(line.paths);
    const int result = app.exec();
    inspector.reset();
    delete window;
    return result;
}
