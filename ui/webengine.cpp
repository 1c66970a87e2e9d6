#include "webengine.h"

#include <QDebug>
#include <QtGlobal>
#include <unistd.h>

void prepareWebEngine()
{
    qputenv("QTWEBENGINE_REMOTE_DEBUGGING", "9024");
    if (geteuid() == 0 && qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX")) {
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
        qDebug() << "running as root: QtWebEngine's sandbox switched off";
    }
}
