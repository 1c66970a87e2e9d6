#pragma once

#include <QString>

// Where the read-only resources lie (<executable dir>/../res, in the build
// tree as in an install) and where the per-user files go (the customer
// directory under Documents). Created on first use from the main thread.
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

    // Documents/velomar_<customer code>, created on first use.
    static QString getCustomerDir();
    // The build date from build.info; empty (and read again next time)
    // until the file has it.
    static QString getVersion();

    // The customer code from build.info, read once it is there.
    static QString customer();

    // The value of a "key: value" line of build.info (quotes removed, line
    // trimmed, the second piece after splitting at ": "); empty without one.
    static QString buildInfoValue(const QString &key);
    static QString buildInfoPath();

private:
    Config();
};
