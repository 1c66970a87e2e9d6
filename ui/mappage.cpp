#include "mappage.h"

#include <QDebug>
#include <QDesktopServices>
#include <QFileInfo>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineSettings>

namespace {

bool isWebLink(const QUrl &url)
{
    return url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http");
}

} // namespace

MapPage::MapPage(const QStringList &pageFiles, QObject *parent) : QWebEnginePage(parent)
{
    for (const QString &p : pageFiles)
        pages << QFileInfo(p).canonicalFilePath();
    // No file beyond the page's own scripts and styles can be read.
    settings()->setAttribute(QWebEngineSettings::LocalContentCanAccessFileUrls, false);
    settings()->setAttribute(QWebEngineSettings::LocalContentCanAccessRemoteUrls, false);
    // Tells the page that the window drives it: it needs no link to the
    // player, and says nothing about one.
    QWebEngineScript embedded;
    embedded.setName(QStringLiteral("velomar-embedded"));
    embedded.setSourceCode(QStringLiteral("window.velomarEmbedded = true;"));
    embedded.setInjectionPoint(QWebEngineScript::DocumentCreation);
    embedded.setWorldId(QWebEngineScript::MainWorld);
    embedded.setRunsOnSubFrames(false);
    scripts().insert(embedded);
}

bool MapPage::isMapPage(const QUrl &url) const
{
    return url.isLocalFile() && pages.contains(QFileInfo(url.toLocalFile()).canonicalFilePath());
}

bool MapPage::acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame)
{
    if (isMainFrame && isMapPage(url))
        return true;
    if (type == NavigationTypeLinkClicked && isWebLink(url)) {
        QDesktopServices::openUrl(url);
        return false;
    }
    qWarning().noquote() << "map view: refused to go to" << url.toString();
    return false;
}

QWebEnginePage *MapPage::createWindow(WebWindowType)
{
    qWarning() << "map view: refused to open a window";
    return nullptr;
}
