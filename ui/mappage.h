#pragma once

#include <QStringList>
#include <QWebEnginePage>

// The window's map view shows its own map pages and nothing else: a script
// in them (the remote inspector on port 9024 lets any local program run
// one) can neither read the user's files nor take the view elsewhere.
// Links, the map credits, open in the system browser.
class MapPage : public QWebEnginePage
{
    Q_OBJECT
public:
    // `pages`: the only files the view may show.
    MapPage(const QStringList &pages, QObject *parent = nullptr);

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override;
    QWebEnginePage *createWindow(WebWindowType type) override;

private:
    bool isMapPage(const QUrl &url) const;
    QStringList pages; // canonical paths
};
