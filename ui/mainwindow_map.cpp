// MainWindow: the map, twice: the embedded page through runJavaScript and
// the browser copy through the local WebSocket, both fed the same commands;
// the drive under the playing clip, and clicks on it from either map.

#include "avplayer.h"
#include "config.h"
#include "mainwindow.h"
#include "maplink.h"
#include "mappage.h"
#include "ui_mainwindow.h"
#include "videoinfoparse.h"

#include <QDebug>
#include <QHostAddress>
#include <QMessageBox>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <QWebSocket>
#include <QWebSocketServer>

QString MainWindow::mapPage() const
{
    return Config::getInstance()->mapDir +
           (ui->cmbMapType->currentIndex() != 0 ? "/AMap.html" : "/Google-earth.html");
}

void MainWindow::startMapServer()
{
    if (auto *page = qobject_cast<MapPage *>(webView ? webView->page() : nullptr))
        connect(page, &MapPage::clicked, this, &MainWindow::mapClicked);
    mapToken = maplink::newToken();
    wsServer = new QWebSocketServer("server", QWebSocketServer::NonSecureMode);
    // Loopback only: the positions never leave the machine.
    if (!wsServer->listen(QHostAddress::LocalHost, 9090)) {
        QMessageBox::information(this, "提示", "监听失败, 是否开启了代理，或者IP错误");
        qDebug() << "server listen failed";
        return;
    }
    qDebug() << "server listen success";
    connect(wsServer, SIGNAL(newConnection()), this, SLOT(onNewConnection()));
}

void MainWindow::onNewConnection()
{
    qDebug() << "new connection";
    while (QWebSocket *socket = wsServer->nextPendingConnection()) {
        // Whatever happens to it, a socket is freed once it is closed.
        connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
        if (!maplink::clientAllowed(socket->origin(), socket->requestUrl(), mapToken)) {
            qWarning().noquote() << "map client refused, origin:"
                                 << (socket->origin().isEmpty() ? "none" : socket->origin());
            socket->close(QWebSocketProtocol::CloseCodePolicyViolated);
            continue;
        }
        // The page sends nothing big: a client that does is closed before
        // the message is kept.
        socket->setMaxAllowedIncomingFrameSize(maplink::maxClientMessageBytes);
        socket->setMaxAllowedIncomingMessageSize(maplink::maxClientMessageBytes);
        connect(socket, &QWebSocket::textMessageReceived, this,
                [this, socket](const QString &message) { onMapClientMessage(socket, message); });
        connect(socket, &QWebSocket::binaryMessageReceived, this, [](const QByteArray &message) {
            qWarning() << "map client: binary message of" << message.size() << "bytes ignored";
        });
        // Only the newest client is fed; the one it replaces is let go.
        // (Kept open before, it stayed allocated for the whole run.)
        if (wsClient) {
            wsClient->close(QWebSocketProtocol::CloseCode(maplink::replacedCloseCode),
                            QStringLiteral("a newer map page took over"));
            // Freed also when the peer never answers the close.
            QTimer::singleShot(5000, wsClient.data(), &QObject::deleteLater);
        }
        wsClient = socket;
        wsClient->sendTextMessage("hello(0, 0);");
        // A page that has just connected knows nothing yet, as one that has
        // just loaded: it is brought up to date at once.
        bringBrowserCopyUpToDate();
    }
}

void MainWindow::runRemoteScript(const QString &script)
{
    // A drive's route is one command of up to megabytes.
    if (script.size() > 200)
        qDebug().noquote() << script.left(120) << "…" << script.size() << "characters";
    else
        qDebug().noquote() << script;
    if (!wsClient)
        return;
    qDebug() << "send to client";
    wsClient->sendTextMessage(script);
}

// Commands for the embedded page gathered into one script while it lives:
// a route is thousands of commands, and each runJavaScript call costs the
// GUI thread a message to the page. The browser copy still gets each
// command as a message of its own, in the same order.
class MainWindow::PageBatch
{
public:
    explicit PageBatch(MainWindow *window) : window(window), outer(!window->pageBatch)
    {
        if (outer)
            window->pageBatch = &commands;
    }
    ~PageBatch()
    {
        if (!outer)
            return;
        window->pageBatch = nullptr;
        if (!commands.isEmpty() && window->webView && window->mapPageLoaded)
            window->webView->page()->runJavaScript(commands.join(QLatin1Char('\n')));
    }

private:
    MainWindow *window;
    bool outer;
    QStringList commands;
};

void MainWindow::sendMapCommand(const QString &command)
{
    if (webView && mapPageLoaded && !mapCommandsToBrowserOnly) {
        if (pageBatch)
            pageBatch->append(command);
        else
            webView->page()->runJavaScript(command);
    }
    runRemoteScript(command);
}

void MainWindow::sendMapPoint(const char *command, const VideoInfo &sample)
{
    const QString text =
        maplink::pointCommand(command, sample.signedLatitude(), sample.signedLongitude());
    if (text.isEmpty()) {
        qWarning() << "map point not sent: not a finite number";
        return;
    }
    sendMapCommand(text);
}

void MainWindow::sendTravelledLine(int upTo)
{
    PageBatch batch(this);
    if (upTo >= videoInfoParse->count)
        upTo = videoInfoParse->count - 1;
    for (int i = 0; i < upTo; ++i) {
        const VideoInfo *sample = videoInfoParse->videoInfoMap.value(i);
        if (sample && sample->valid)
            sendMapPoint("setLineNewPoint", *sample);
    }
}

void MainWindow::drawGpsRoadMap()
{
    PageBatch batch(this);
    const VideoInfoParse &store = *videoInfoParse;
    if (!store.isParsed) {
        sendMapCommand("clrRTploy();");
        return;
    }
    int first = -1;
    for (int i = 0; i < store.count; ++i) {
        const VideoInfo *sample = store.videoInfoMap.value(i);
        if (!sample || !sample->valid)
            continue;
        if (first < 0) {
            first = i;
            sendMapPoint("mapinitialize", *sample);
            sendMapPoint("setStartPoint", *sample);
        } else if (i == store.count - 1) {
            sendMapPoint("setEndPoint", *sample);
        } else {
            sendMapPoint("gotoNextPoint", *sample);
        }
    }
}

bool MainWindow::mapRedrawInFlight() const
{
    // A page still busy with the last drawing after a second is taken as
    // done: a reload drops what it was given, and its answer with it.
    return mapRedrawSent.isValid() && mapRedrawSent.elapsed() < 1000;
}

void MainWindow::redrawMapAt(int second)
{
    mapRedrawSecond = second;
    if (!mapRedrawInFlight() && !mapRedrawTimer->isActive())
        mapRedrawTimer->start();
}

void MainWindow::redrawMapNow()
{
    if (mapRedrawSecond < 0 || mapRedrawInFlight())
        return;
    const int second = mapRedrawSecond;
    mapRedrawSecond = -1;
    if (!videoOpen() || !videoInfoParse->isParsed)
        return;
    {
        PageBatch batch(this);
        drawGpsRoadMap();
        sendTravelledLine(second);
    }
    if (!webView || !mapPageLoaded)
        return;
    // The next drawing waits until the page has run this one. The page
    // outlives the window's own members: its answer may come while the
    // window is being destroyed.
    mapRedrawSent.start();
    const std::weak_ptr<bool> alive = windowAlive;
    webView->page()->runJavaScript(QStringLiteral("0"), [this, alive](const QVariant &) {
        if (alive.expired())
            return;
        mapRedrawSent.invalidate();
        if (mapRedrawSecond >= 0)
            mapRedrawTimer->start();
    });
}

void MainWindow::loadFinished(bool)
{
    mapPageLoaded = true;
    // A page that has just loaded knows nothing yet: bring it up to date.
    PageBatch batch(this);
    if (!videoOpen()) {
        sendMapCommand(maplink::defaultView());
        sendMapDrive();
        return;
    }
    sendMapDrive();
    sendMarkedRoute();
    if (!videoInfoParse->isParsed)
        return;
    drawGpsRoadMap();
    sendTravelledLine(int(player->position() / 1000));
}

void MainWindow::on_cmbMapType_currentIndexChanged(int)
{
    qDebug() << "on_cmbMapType_currentIndexChanged";
    if (!initialized)
        return;
    webView->load(QUrl::fromLocalFile(mapPage()));
    saveParam();
}

namespace {

// Exactly the same points: a drive whose next clip plays is not sent again.
bool sameRoutes(const QVector<QVector<QPointF>> &a, const QVector<QVector<QPointF>> &b)
{
    if (a.size() != b.size())
        return false;
    for (int i = 0; i < a.size(); ++i) {
        if (a[i].size() != b[i].size())
            return false;
        for (int j = 0; j < a[i].size(); ++j)
            if (a[i][j].x() != b[i][j].x() || a[i][j].y() != b[i][j].y())
                return false;
    }
    return true;
}

} // namespace

void MainWindow::setMapDrive(const QVector<QVector<QPointF>> &routes, int current)
{
    const bool shown = current >= 0 && current < routes.size();
    if (current != -1 && (!shown || routes.size() > maplink::maxDriveClips)) {
        qWarning() << "map drive: clip" << current << "of" << routes.size()
                   << "cannot be shown: the drive is taken off the map";
    }
    const QVector<QVector<QPointF>> drive =
        shown && routes.size() <= maplink::maxDriveClips ? routes : QVector<QVector<QPointF>>();
    current = drive.isEmpty() ? -1 : current;
    PageBatch batch(this);
    if (sameRoutes(drive, mapDrive)) {
        // The next clip of the same drive: nothing is drawn anew.
        if (current != mapDriveCurrent)
            sendMapCommand(maplink::driveCurrentCommand(current));
        mapDriveCurrent = current;
        return;
    }
    mapDrive = drive;
    mapDriveCurrent = current;
    if (drive.isEmpty())
        sendMapCommand(maplink::driveCommand(0, -1));
    else
        sendMapDrive();
}

void MainWindow::sendMapDrive()
{
    if (mapDrive.isEmpty())
        return;
    PageBatch batch(this);
    sendMapCommand(maplink::driveCommand(mapDrive.size(), mapDriveCurrent));
    int skipped = 0;
    for (int i = 0; i < mapDrive.size(); ++i)
        sendMapCommand(maplink::driveRouteCommand(i, mapDrive[i], &skipped));
    if (skipped)
        qWarning() << "map drive:" << skipped << "points left out: not finite or out of range";
}

void MainWindow::bringBrowserCopyUpToDate()
{
    // The same commands as a page load, for this client only: the embedded
    // page has them already.
    mapCommandsToBrowserOnly = true;
    sendMapDrive();
    sendMarkedRoute();
    if (videoOpen() && videoInfoParse->isParsed) {
        drawGpsRoadMap();
        sendTravelledLine(int(player->position() / 1000));
    }
    mapCommandsToBrowserOnly = false;
}

void MainWindow::onMapClientMessage(QWebSocket *socket, const QString &message)
{
    // Only the page this run opened, by its token, may move the video; and
    // only while it is the page being fed.
    if (socket != wsClient || !maplink::clientHasToken(socket->requestUrl(), mapToken)) {
        qWarning() << "map client: message from a client without the run's token ignored,"
                   << message.size() << "characters";
        return;
    }
    double latitude = 0, longitude = 0;
    if (!maplink::parseClick(message, &latitude, &longitude)) {
        qWarning() << "map client: message ignored:" << message.left(48) << message.size()
                   << "characters";
        return;
    }
    emit mapClicked(latitude, longitude);
}
