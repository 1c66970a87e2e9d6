#include "commandline.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <cstdio>

namespace {

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(
        QCoreApplication::translate("main", "Plays dash-camera videos with their GPS track."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(
        {"debug", QCoreApplication::translate(
                      "main", "Inspector of the map page on 127.0.0.1:9024 and QML "
                              "debugging; any local program can then reach the map.")});
    parser.addPositionalArgument(
        "paths", QCoreApplication::translate("main", "Videos or folders (a card) to open."),
        "[FILE|FOLDER...]");
}

} // namespace

bool answersWithoutWindow(int argc, char **argv)
{
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    QCommandLineParser parser;
    describe(parser);
    // Qt's own options (-platform, -style…) are not known here: only a clean
    // parse can be trusted to hold no request for text.
    if (!parser.parse(args))
        return args.contains("--help") || args.contains("-h") || args.contains("--version") ||
               args.contains("-v");
    return parser.isSet("help") || parser.isSet("version");
}

CommandLine parseCommandLine()
{
    QCommandLineParser parser;
    describe(parser);
    parser.process(*QCoreApplication::instance()); // help, version, errors: prints and exits
    CommandLine line;
    line.debug = parser.isSet("debug");
    for (const QString &path : parser.positionalArguments()) {
        const QFileInfo info(path);
        if (!info.exists()) {
            std::fprintf(stderr, "velomar: %s: no such file or folder\n", qPrintable(path));
            continue;
        }
        line.paths << info.absoluteFilePath();
    }
    return line;
}
