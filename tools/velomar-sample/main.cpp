// velomar-sample OUT.MP4 [SECONDS]: makes a test-pattern clip whose track
// rides inside it as a subtitle stream, one $GPRMC sentence a second, the
// way many dash cameras record it.

#include "trackgen.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <iostream>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2 || args.size() > 3) {
        std::cerr << "usage: velomar-sample OUT.MP4 [SECONDS]\n";
        return 2;
    }
    const QString out = args[1];
    const int seconds = args.size() == 3 ? args[2].toInt() : 30;
    if (seconds < 2 || seconds > 86400) {
        std::cerr << "velomar-sample: SECONDS must be from 2 to 86400\n";
        return 2;
    }

    QStringList lines;
    for (const trackgen::Fix &fix : trackgen::drive(seconds))
        lines << trackgen::rmcLine(fix);
    const QString srt = out + ".tmp.srt";
    if (!trackgen::writeText(srt, trackgen::srtDocument(lines))) {
        std::cerr << "velomar-sample: cannot write " << srt.toStdString() << '\n';
        return 1;
    }
    QString error;
    const bool ok = trackgen::makeClip(out, seconds, srt, &error);
    QFile::remove(srt);
    if (!ok) {
        std::cerr << "velomar-sample: ffmpeg failed: " << error.toStdString() << '\n';
        return 1;
    }
    std::cout << QFileInfo(out).absoluteFilePath().toStdString() << '\n';
    return 0;
}
