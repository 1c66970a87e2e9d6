#include "mappage.h"

#include "maplink.h"

#include <QDebug>
#include <QDesktopServices>
#include <QDir>
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
    for (const QString &p : pageFiles) {
        pages << QFileInfo(p).canonicalFilePath();
        scriptFiles
            << QFileInfo(QFileInfo(p).dir(), QStringLiteral("velomar-map.js")).canonicalFilePath();
    }
    scriptFiles.removeAll(QString()); // a script that is not there matches no source
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

bool MapPage::isMapScript(const QString &source) const
{
    const QUrl url(source);
    return url.isLocalFile() &&
           scriptFiles.contains(QFileInfo(url.toLocalFile()).canonicalFilePath());
}

void MapPage::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message,
                                       int line, const QString &source)
{
    // The page's click handler logs "click <lat> <lon>" at info level; a
    // message that only looks like one (another level, another script, a
    // malformed position) moves nothing.
    if (message.startsWith(QLatin1String("click "))) {
        double latitude = 0, longitude = 0;
        if (level == InfoMessageLevel && isMapScript(source) &&
            maplink::parseClick(message, &latitude, &longitude)) {
            emit clicked(latitude, longitude);
            return;
        }
        qWarning().noquote() << "map view: click message ignored from" << source.left(200);
        return;
    }
    QWebEnginePage::javaScriptConsoleMessage(level, message, line, source);
}
