#pragma once

// Shared by the tests that drive the real main window: its children by
// object name, the player, drops as the drag manager hands them over, and
// the dashboard's seven-segment displays as a person sees them.

#include "avplayer.h"
#include "mainwindow.h"
#include "media.h"

#include <QApplication>
#include <QDir>
#include <QDropEvent>
#include <QLCDNumber>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

namespace windowfixture {

template <typename T> T *child(QWidget *window, const char *name)
{
    T *c = window->findChild<T *>(name);
    if (!c)
        qFatal("no child %s", name);
    return c;
}

inline media::AVPlayer *player(QWidget *window)
{
    return window->findChild<media::AVPlayer *>();
}

inline void drop(QWidget *window, const QStringList &paths)
{
    QMimeData data;
    QList<QUrl> urls;
    for (const QString &p : paths)
        urls << QUrl::fromLocalFile(p);
    data.setUrls(urls);
    QDropEvent event(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    static_cast<QObject *>(window)->event(&event);
}

// True when the display looks exactly like one that shows `text`: a display
// keeps no readable text of what it shows (value() is 0 for "12:00:01").
inline bool lcdShows(QLCDNumber *lcd, const QString &text)
{
    QLCDNumber twin;
    twin.setDigitCount(lcd->digitCount());
    twin.setSegmentStyle(lcd->segmentStyle());
    twin.setFrameShape(lcd->frameShape());
    twin.setFrameShadow(lcd->frameShadow());
    twin.setLineWidth(lcd->lineWidth());
    twin.setStyleSheet(lcd->styleSheet());
    twin.setFont(lcd->font());
    twin.setPalette(lcd->palette());
    twin.resize(lcd->size());
    twin.display(text);
    twin.ensurePolished();
    // Grabs of a child and of a top-level widget come in different formats.
    return twin.grab().toImage().convertToFormat(QImage::Format_RGB32) ==
           lcd->grab().toImage().convertToFormat(QImage::Format_RGB32);
}

} // namespace windowfixture

// main() for a test of the real window: settings, logs and snapshots go to a
// home folder of the test's own, with a Pictures folder as on a desktop.
#define VELOMAR_WINDOW_TEST_MAIN(TestClass)                                                        \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        QTemporaryDir home;                                                                        \
        qputenv("HOME", home.path().toUtf8());                                                     \
        qunsetenv("XDG_CONFIG_HOME");                                                              \
        QDir(home.path()).mkpath("Pictures");                                                      \
        media::Widgets::registerRenderers();                                                       \
        media::setLogLevel(media::LogOff);                                                         \
        QApplication app(argc, argv);                                                              \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
