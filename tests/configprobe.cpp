// Run by tst_config from a copied location, so that <exe>/../build.info and
// the home folder are the test's own: every case gets fresh caches.
//   configprobe config   prints the build date, the customer dir and whether it exists
//   configprobe log      writes messages through the file log handler
//   configprobe log-deleted   the same, deleting the log folder in between

#include "config.h"
#include "logging.h"

#include <QCoreApplication>
#include <QDir>
#include <QThread>
#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString mode = app.arguments().value(1);
    if (mode == "config") {
        const QString dir = Config::getCustomerDir();
        std::printf("version=%s\ncustomerDir=%s\nexists=%d\nresDir=%s\n",
                    qPrintable(Config::getVersion()), qPrintable(dir), int(QDir(dir).exists()),
                    qPrintable(Config::getInstance()->resDir));
        return 0;
    }
    if (mode == "log") {
        QMessageLogContext here("probe.cpp", 42, "main", "default");
        QMessageLogContext nowhere;
        outputMessage(QtDebugMsg, here, "first message");
        outputMessage(QtInfoMsg, here, "an info message");
        outputMessage(QtWarningMsg, nowhere, "a warning without context");
        outputMessage(QtCriticalMsg, here, "critical");
        outputMessage(QtFatalMsg, here, "fatal, written like any other");
        QThread::msleep(1100);
        outputMessage(QtDebugMsg, here, "a second later");
        return 0;
    }
    if (mode == "log-deleted") {
        QMessageLogContext here("probe.cpp", 42, "main", "default");
        outputMessage(QtDebugMsg, here, "before");
        QDir(Config::getCustomerDir() + "/logs").removeRecursively(); // deleted while running
        outputMessage(QtDebugMsg, here, "after the folder was deleted");
        return 0;
    }
    return 2;
}
