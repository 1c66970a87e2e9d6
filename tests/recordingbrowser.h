#pragma once

// The user's default browser, as desktops register one in a home folder: a
// desktop entry named in mimeapps.list for web pages and links, whose
// program records what it was started with (one line an argument) and its
// environment, and starts nothing.

#include "trackgen.h"
#include "waituntil.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QStringList>

class RecordingBrowser
{
public:
    struct Launch
    {
        QStringList arguments;
        QStringList environment;
    };

    // Registers the browser in `home`; false when it cannot, or when the
    // desktop's opener (xdg-open) is missing.
    bool install(const QString &home)
    {
        folder = home;
        const QString apps = home + "/.local/share/applications";
        if (!QDir().mkpath(apps) || !QDir().mkpath(home + "/.config"))
            return false;
        const QString recorder = home + "/recording-browser";
        return trackgen::writeText(recorder, "#!/bin/sh\n"
                                             "printf '%s\\n' \"$@\" > \"$HOME/browser-args.txt\"\n"
                                             "env > \"$HOME/browser-env.txt\"\n"
                                             ": > \"$HOME/browser-done.txt\"\n") &&
               QFile::setPermissions(recorder,
                                     QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner) &&
               trackgen::writeText(apps + "/recording-browser.desktop",
                                   "[Desktop Entry]\nType=Application\nName=Recording browser\n"
                                   "Exec=" +
                                       recorder +
                                       " %u\nMimeType=text/html;x-scheme-handler/http;"
                                       "x-scheme-handler/https;x-scheme-handler/file;\n") &&
               trackgen::writeText(home + "/.config/mimeapps.list",
                                   "[Default Applications]\n"
                                   "text/html=recording-browser.desktop\n"
                                   "x-scheme-handler/http=recording-browser.desktop\n"
                                   "x-scheme-handler/https=recording-browser.desktop\n"
                                   "x-scheme-handler/file=recording-browser.desktop\n") &&
               !QStandardPaths::findExecutable("xdg-open").isEmpty();
    }

    // Waits for the browser's next start; empty when none came in `ms`.
    Launch next(int ms = 30000)
    {
        Launch l;
        if (!testwait::waitUntil([&] { return QFile::exists(record("done")); }, ms))
            return l;
        l.arguments = trackgen::readText(record("args")).split('\n', Qt::SkipEmptyParts);
        l.environment = trackgen::readText(record("env")).split('\n', Qt::SkipEmptyParts);
        forget();
        return l;
    }

    // Drops what a start left.
    void forget()
    {
        for (const char *what : {"args", "env", "done"})
            QFile::remove(record(what));
    }

private:
    QString folder;
    QString record(const char *what) const { return folder + "/browser-" + what + ".txt"; }
};
