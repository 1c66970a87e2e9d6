#include "config.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTextStream>
#include <functional>

Config *Config::getInstance()
{
    static Config *instance = new Config; // never destroyed: used until exit
    return instance;
}

Config::Config()
    : resDir(QCoreApplication::applicationDirPath() + "/../res"), languageDir(resDir + "/language"),
      imageDir(resDir + "/image"), mapDir(resDir + "/map"), soundDir(resDir + "/sound"),
      fontPath(resDir + "/cour.ttf")
{
}

QString Config::buildInfoPath()
{
    return getInstance()->resDir + "/../build.info";
}

namespace {

// Calls `take` with each non-empty line of build.info, quotes removed, until
// it returns true.
void scanBuildInfo(const std::function<bool(const QString &)> &take)
{
    QFile file(Config::buildInfoPath());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    QTextStream in(&file);
    in.setCodec("UTF-8");
    while (!in.atEnd()) {
        QString line = in.readLine();
        if (line.isEmpty())
            continue;
        line.remove(QLatin1Char('"'));
        if (take(line))
            break;
    }
}

} // namespace

QString Config::buildInfoValue(const QString &key)
{
    QString value;
    scanBuildInfo([&](const QString &line) {
        const QString trimmed = line.trimmed();
        if (!trimmed.startsWith(key))
            return false;
        value = trimmed.split(QStringLiteral(": "), Qt::KeepEmptyParts).value(1);
        return true;
    });
    return value;
}

QString Config::customer()
{
    static QString code; // the snapshot folder asks on every snapshot
    if (code.isEmpty())
        code = buildInfoValue(QStringLiteral("customer:"));
    return code;
}

QString Config::getVersion()
{
    static QString version;
    if (!version.isEmpty())
        return version;
    const QString key = QStringLiteral("Build Date: ");
    scanBuildInfo([&](const QString &line) {
        if (!line.startsWith(key))
            return false;
        version = line.mid(key.size());
        return true;
    });
    return version;
}

QString Config::getCustomerDir()
{
    static QString dir;
    if (!dir.isEmpty())
        return dir;
    const QString path = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) +
                         "/velomar_" + customer();
    qDebug() << path;
    QDir().mkpath(path); // a failure shows where the files are used
    dir = path;
    return dir;
}
