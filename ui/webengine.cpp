#include "webengine.h"

#include <QDebug>
#include <QWebEngineProfile>
#include <QtGlobal>
#include <unistd.h>

void prepareWebEngine()
{
    qputenv("QTWEBENGINE_REMOTE_DEBUGGING", "9024");
    if (geteuid() == 0 && qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX")) {
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
        qDebug() << "running as root: QtWebEngine's sandbox switched off";
    }
    // Tile servers (OpenStreetMap's among them) ask a program to name itself
    // in its User-Agent; the engine's own reads as a library default.
    QWebEngineProfile *profile = QWebEngineProfile::defaultProfile();
    const QString name = QStringLiteral("Velomar/" VELOMAR_VERSION);
    if (!profile->httpUserAgent().contains(name))
        profile->setHttpUserAgent(profile->httpUserAgent() + ' ' + name);
    // The engine has read both when its first profile was made. Programs
    // started from here on (ffmpeg, the browser) must not: a browser built
    // on QtWebEngine would open a debugging port and run unsandboxed.
    qunsetenv("QTWEBENGINE_REMOTE_DEBUGGING");
    qunsetenv("QTWEBENGINE_DISABLE_SANDBOX");
}
