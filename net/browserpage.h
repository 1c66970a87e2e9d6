#pragma once

#include <QString>
#include <QTemporaryDir>
#include <memory>

// The page handed to the desktop for the browser copy of the map. The
// desktop's openers lose a query in a file URL (xdg-open drops it; gio open,
// which GNOME, Cinnamon, MATE and XFCE use, takes it as part of the file's
// name), so the run's token cannot ride along. Instead a page of this run's
// own, in a folder only the user can read, sends the browser on to the map
// page with the token. It is removed with this object, at exit.
class BrowserPage
{
public:
    BrowserPage();
    ~BrowserPage();

    // Writes the page; false, with a log line, when no private folder can be
    // made or written.
    bool create(const QString &mapPagePath, const QString &token);
    QString path() const;

    // The page's text: on to `target` by script, or by a refresh where
    // scripts are off, or by a link.
    static QByteArray html(const QUrl &target);

private:
    std::unique_ptr<QTemporaryDir> dir;
};
