#pragma once

#include <QStringList>
#include <QWebEnginePage>

// The window's map view shows its own map pages and nothing else: a script
// in them (the remote inspector on port 9024 lets any local program run
// one) can neither read the user's files nor take the view elsewhere.
// Links, the map credits, open in the system browser. A click on the drawn
// route comes back as a console message of the pages' own script.
class MapPage : public QWebEnginePage
{
    Q_OBJECT
public:
    // `pages`: the only files the view may show; their script,
    // velomar-map.js, lies beside them.
    MapPage(const QStringList &pages, QObject *parent = nullptr);

signals:
    // The point of the route nearest a click on it, in WGS-84 degrees.
    void clicked(double latitude, double longitude);

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override;
    QWebEnginePage *createWindow(WebWindowType type) override;
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message,
                                  int line, const QString &source) override;

private:
    bool isMapPage(const QUrl &url) const;
    bool isMapScript(const QString &source) const;
    QStringList pages;       // canonical paths
    QStringList scriptFiles; // canonical paths of the script beside each page
};
