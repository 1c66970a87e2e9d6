#pragma once

// What the user asked for on the command line: `velomar [--debug]
// [FILE|FOLDER]...`, `--help`, `--version`.

#include <QStringList>

struct CommandLine
{
    // Chromium's inspector of the map page on 127.0.0.1:9024, the inspector
    // window and QML debugging. Any local program could attach to that port
    // and run script in the page, so it is never on by default.
    bool debug = false;
    // Videos and folders to open, absolute; the ones that do not exist are
    // left out with a line on standard error.
    QStringList paths;
};

// True when the arguments only ask for text (help, version) or hold an
// option the program does not know: those are answered without a display.
bool answersWithoutWindow(int argc, char **argv);

// Prints help, the version or what is wrong, and exits, for the arguments
// answersWithoutWindow() accepts; otherwise returns what they ask. Needs a
// QCoreApplication (or QApplication), which has taken Qt's own options out.
CommandLine parseCommandLine();
