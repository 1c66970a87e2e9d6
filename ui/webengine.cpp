#include "webengine.h"

#include <QByteArray>
#include <QDebug>
#include <QList>
#include <QWebEngineProfile>
#include <QtGlobal>
#include <unistd.h>

namespace {

bool debuggingWanted = false;

// Leaves out every Chromium flag that would open a debugging port.
QByteArray withoutDebuggingFlags(const QByteArray &flags)
{
    QList<QByteArray> kept;
    for (const QByteArray &flag : flags.split(' '))
        if (!flag.isEmpty() && !flag.startsWith("--remote-debugging"))
            kept << flag;
    return kept.join(' ');
}

} // namespace

void setRemoteDebugging(bool on)
{
    debuggingWanted = on;
}

bool remoteDebugging()
{
    return debuggingWanted;
}

void prepareWebEngine()
{
    // Deliberately not at every start: the inspector lets any local program
    // run script in the map page and read every position, so only --debug
    // opens it. A port handed down in the environment is not taken either.
    if (debuggingWanted) {
        qputenv("QTWEBENGINE_REMOTE_DEBUGGING", QByteArray::number(remoteDebuggingPort));
    } else {
        if (!qEnvironmentVariableIsEmpty("QTWEBENGINE_REMOTE_DEBUGGING"))
            qWarning() << "QTWEBENGINE_REMOTE_DEBUGGING ignored: remote debugging needs --debug";
        qunsetenv("QTWEBENGINE_REMOTE_DEBUGGING");
        const QByteArray flags = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");
        const QByteArray kept = withoutDebuggingFlags(flags);
        if (kept != flags) {
            qWarning()
                << "remote-debugging flags left out of QTWEBENGINE_CHROMIUM_FLAGS: they need "
                   "--debug";
            qputenv("QTWEBENGINE_CHROMIUM_FLAGS", kept);
        }
    }
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
