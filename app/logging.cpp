#include "logging.h"

#include "config.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QMutex>
#include <QTextStream>

void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    static QMutex mutex; // messages come from the parse thread too
    static QString fileName;
    QMutexLocker lock(&mutex);

    QString level;
    switch (type) {
    case QtDebugMsg:
        level = QStringLiteral("[  Debug]");
        break;
    case QtWarningMsg:
        level = QStringLiteral("[Warning]");
        break;
    case QtCriticalMsg:
        level = QStringLiteral("[Critical]");
        break;
    case QtFatalMsg:
        level = QStringLiteral("[   Fatal]");
        break;
    default:
        level = QStringLiteral("[   Debug]");
        break;
    }
    const QString where =
        QStringLiteral("From:%1 at line:%2").arg(QString::fromUtf8(context.file)).arg(context.line);
    const QString date = QDateTime::currentDateTime().toString("[yyyy-MM-dd hh:mm:ss]");
    // One argument at a time, so a "%1" in a message is substituted again.
    const QString line = QStringLiteral("%1%2 %3 %4").arg(date).arg(level).arg(msg).arg(where);

    const QString logDir = Config::getCustomerDir() + "/logs";
    if (!QDir(logDir).exists())
        QDir().mkpath(logDir);
    if (fileName.isEmpty())
        fileName =
            logDir + "/log_" + QDateTime::currentDateTime().toString("yyyyMMdd_hhmmss") + ".txt";

    QFile file(fileName);
    file.open(QIODevice::WriteOnly | QIODevice::Append); // a failed open loses the line
    QTextStream out(&file);
    out.setCodec("UTF-8");
    out << line << "\r\n";
    out.flush();
    file.close();
}
