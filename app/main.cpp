// Velomar: start-up.

#include "config.h"
#include "mainwindow.h"
#include "media.h"

#include <QApplication>
#include <QDebug>
#include <QFontDatabase>
#include <QTextCodec>
#include <QtQml/qqmldebug.h> // QML debugging on, as the build asks (QT_QML_DEBUG)

int main(int argc, char **argv)
{
    media::returnLargeBuffersToSystem();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    media::Widgets::registerRenderers();
    media::setLogLevel(media::LogOff);
    QApplication app(argc, argv);

    const int fontId = QFontDatabase::addApplicationFont(Config::getInstance()->fontPath);
    if (fontId != -1) {
        const QStringList families = QFontDatabase::applicationFontFamilies(fontId);
        if (!families.isEmpty()) {
            QFont font(families.first());
            font.setPointSize(12);
            QApplication::setFont(font);
        }
    }
    qDebug() << "process name:" << argv[0];

    auto *window = new MainWindow(nullptr);
    window->setWindowFlags(window->windowFlags() & ~Qt::WindowMaximizeButtonHint &
                           ~Qt::WindowMinimizeButtonHint);
    window->show();
    const int result = app.exec();
    delete window;
    return result;
}
