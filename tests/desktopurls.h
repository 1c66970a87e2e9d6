#pragma once

// Stands in for the desktop while a window test runs: what the window asks
// the desktop to open (the browser copy of the map, the snapshot folder) is
// kept here, and no browser or file manager starts.

#include <QDesktopServices>
#include <QList>
#include <QObject>
#include <QUrl>

class DesktopUrls : public QObject
{
    Q_OBJECT
public:
    DesktopUrls() { QDesktopServices::setUrlHandler("file", this, "open"); }
    ~DesktopUrls() override { QDesktopServices::unsetUrlHandler("file"); }

    QList<QUrl> opened;

public slots:
    void open(const QUrl &url) { opened << url; }
};
