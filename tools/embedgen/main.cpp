// velomar-embedgen LAYOUT OUT [options]: a test-pattern clip carrying the
// known drive (trackgen::drive) in one camera layout.

#include "embedgen.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <iostream>

namespace {

int usage()
{
    std::cerr
        << "usage: velomar-embedgen LAYOUT OUT [--seconds N] [--no-index] [--moov-first]\n"
           "         [--large-sizes] [--co64] [--pad BYTES] [--pad-at-end] [--cold-start N] [--gap "
           "A B]\n"
           "         [--invalid S,S,...] [--mov] [--camm5] [--camm-unix] [--camm-motion] [--date "
           "YYYY-MM-DD]\n"
           "layouts: "
        << embedgen::layouts().join(", ").toStdString() << '\n';
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 3)
        return usage();
    embedgen::Options options;
    options.layout = args[1];
    const QString out = args[2];
    int seconds = 180;
    bool ok = true;
    const auto number = [&](int k) -> qint64 {
        if (k >= args.size()) {
            ok = false;
            return 0;
        }
        bool good = false;
        const qint64 v = args[k].toLongLong(&good);
        ok = ok && good && v >= 0;
        return v;
    };
    for (int k = 3; k < args.size() && ok; ++k) {
        const QString &a = args[k];
        if (a == "--seconds")
            seconds = int(number(++k));
        else if (a == "--no-index")
            options.index = false;
        else if (a == "--moov-first")
            options.moovFirst = true;
        else if (a == "--large-sizes")
            options.largeSizes = true;
        else if (a == "--co64")
            options.co64 = true;
        else if (a == "--pad")
            options.padBytes = number(++k);
        else if (a == "--pad-at-end")
            options.padAtEnd = true;
        else if (a == "--cold-start")
            options.coldStart = int(number(++k));
        else if (a == "--gap") {
            options.gapFrom = int(number(++k));
            options.gapTo = int(number(++k));
        } else if (a == "--invalid" && k + 1 < args.size()) {
            for (const QString &s : args[++k].split(',', Qt::SkipEmptyParts)) {
                bool good = false;
                options.invalidSeconds.append(s.toInt(&good));
                ok = ok && good;
            }
        } else if (a == "--mov")
            options.container = "mov";
        else if (a == "--camm5")
            options.camm5 = true;
        else if (a == "--camm-unix")
            options.cammUnix = true;
        else if (a == "--camm-motion")
            options.cammMotion = true;
        else if (a == "--date" && k + 1 < args.size())
            options.date = args[++k];
        else
            ok = false;
    }
    if (!ok || seconds < 1 || seconds > 86400)
        return usage();
    if (!embedgen::layouts().contains(options.layout)) {
        std::cerr << "velomar-embedgen: unknown layout " << options.layout.toStdString() << '\n';
        return usage();
    }

    QString error;
    if (!embedgen::make(out, trackgen::drive(seconds), options, &error)) {
        std::cerr << "velomar-embedgen: " << error.toStdString() << '\n';
        return 1;
    }
    std::cout << QFileInfo(out).absoluteFilePath().toStdString() << '\n';
    return 0;
}
