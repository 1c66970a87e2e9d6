#pragma once

#include <QString>

// Where the read-only resources lie: <executable dir>/../res, in the build
// tree as in the install tree. Created on first use from the main thread.
class Config
{
public:
    static Config *getInstance();

    QString resDir;
    QString languageDir;
    QString imageDir;
    QString mapDir;
    QString soundDir;
    QString fontPath;

private:
    Config();
};
