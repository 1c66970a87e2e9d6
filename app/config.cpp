#include "config.h"

#include <QCoreApplication>

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
