// Velomar: start-up.

#include "appfont.h"
#include "config.h"
#include "mainwindow.h"
#include "media.h"

#include <QApplication>
#include <QDebug>
#include <QTextCodec>
#include <QtQml/qqmldebug.h> // QML debugging on, as the build asks (QT_QML_DEBUG)

int main(int argc, char **argv)
{
    media::returnLargeBuffersToSystem();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    media::Widgets::registerRenderers();
    media::setLogLevel(media::LogOff);
    QApplication app(argc, argv);

    Config::getInstance(); // the resource paths, first
    applyApplicationFont();
    qDebug() << "process name:" << argv[0];

    auto *window = new MainWindow(nullptr);
    window->setWindowFlags(window->windowFlags() & ~Qt::WindowMaximizeButtonHint &
                           ~Qt::WindowMinimizeButtonHint);
    window->show();
    const int result = app.exec();
    delete window;
    return result;
}
