#pragma once

// Headless Chromium on a page, driven over the DevTools protocol through the
// browser's own WebSocket endpoint: the browser copy of the map as a user's
// browser runs it.

#include "maptest.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>
#include <QWebSocket>

// The DevTools protocol over the browser's own WebSocket endpoint.
class Chromium
{
public:
    ~Chromium() { stop(); }

    bool start(const QUrl &url, QString *why)
    {
        const QString exe = QStringLiteral(VELOMAR_CHROMIUM);
        if (!QFileInfo(exe).isExecutable()) {
            *why = "chromium not found (scripts/install-deps.sh installs it): " + exe;
            return false;
        }
        proc.setProcessChannelMode(QProcess::MergedChannels);
        proc.start(exe,
                   {"--headless=new", "--no-sandbox", "--disable-gpu", "--remote-debugging-port=0",
                    "--user-data-dir=" + profile.path(), "--no-first-run",
                    "--no-default-browser-check", "--disable-background-networking",
                    "--disable-component-update", "--disable-sync", "--disable-extensions",
                    "--mute-audio", "--window-size=960,640", url.toString()});
        if (!proc.waitForStarted(30000)) {
            *why = "chromium did not start";
            return false;
        }
        // The browser writes its port and endpoint once it listens.
        const QString portFile = profile.filePath("DevToolsActivePort");
        QStringList lines;
        (void)maptest::waitUntil(
            [&] {
                QFile f(portFile);
                if (f.open(QIODevice::ReadOnly))
                    lines = QString::fromUtf8(f.readAll()).split('\n', Qt::SkipEmptyParts);
                return lines.size() >= 2 || proc.state() == QProcess::NotRunning;
            },
            60000);
        if (lines.size() < 2) {
            *why = "no DevTools endpoint; chromium said: " + output();
            return false;
        }
        QObject::connect(&cdp, &QWebSocket::textMessageReceived,
                         [this](const QString &m) { received(m); });
        cdp.open(QUrl(QStringLiteral("ws://127.0.0.1:%1%2").arg(lines[0], lines[1])));
        if (!maptest::waitUntil([&] { return cdp.state() == QAbstractSocket::ConnectedState; },
                                30000)) {
            *why = "cannot reach DevTools: " + cdp.errorString();
            return false;
        }
        // Attach to the page once it shows among the targets.
        QString targetId;
        (void)maptest::waitUntil(
            [&] {
                const QJsonObject r = call("Target.getTargets", {}, false);
                for (const QJsonValue &t : r.value("targetInfos").toArray()) {
                    const QJsonObject o = t.toObject();
                    if (o.value("type").toString() == "page" &&
                        o.value("url").toString().startsWith("file://"))
                        targetId = o.value("targetId").toString();
                }
                return !targetId.isEmpty();
            },
            60000);
        if (targetId.isEmpty()) {
            *why = "the page never showed among the targets";
            return false;
        }
        session = call("Target.attachToTarget", {{"targetId", targetId}, {"flatten", true}}, false)
                      .value("sessionId")
                      .toString();
        if (session.isEmpty()) {
            *why = "cannot attach to the page";
            return false;
        }
        call("Runtime.enable");
        // Wait for the page's own script.
        if (!maptest::waitUntil(
                [&] { return evaluate("typeof velomarState").toString() == "function"; }, 60000)) {
            *why = "the page's script never ran";
            return false;
        }
        return true;
    }

    QJsonObject call(const QString &method, const QJsonObject &params = {}, bool inPage = true)
    {
        const int id = ++lastId;
        QJsonObject m{{"id", id}, {"method", method}, {"params", params}};
        if (inPage)
            m.insert("sessionId", session);
        cdp.sendTextMessage(QString::fromUtf8(QJsonDocument(m).toJson(QJsonDocument::Compact)));
        if (!maptest::waitUntil([&] { return replies.contains(id); }, 60000))
            qWarning().noquote() << "no answer from DevTools to" << method;
        const QJsonObject r = replies.take(id);
        if (r.contains("error"))
            qWarning().noquote() << method << "failed:" << QJsonDocument(r).toJson();
        return r.value("result").toObject();
    }

    QJsonValue evaluate(const QString &expression)
    {
        const QJsonObject r =
            call("Runtime.evaluate", {{"expression", expression}, {"returnByValue", true}});
        if (r.contains("exceptionDetails"))
            errors << "evaluate threw: " + expression;
        return r.value("result").toObject().value("value");
    }

    // The page's own copy of its state in the DOM.
    QJsonObject domState()
    {
        return QJsonDocument::fromJson(evaluate("document.body.dataset.state").toString().toUtf8())
            .object();
    }

    QString output() { return QString::fromLocal8Bit(proc.readAll()).right(3000); }

    void stop()
    {
        if (proc.state() == QProcess::NotRunning)
            return;
        cdp.close();
        proc.terminate();
        if (!proc.waitForFinished(20000)) {
            proc.kill();
            proc.waitForFinished(10000);
        }
    }

    QStringList errors;

private:
    void received(const QString &text)
    {
        const QJsonObject m = QJsonDocument::fromJson(text.toUtf8()).object();
        if (m.contains("id")) {
            replies.insert(m.value("id").toInt(), m);
            return;
        }
        const QString method = m.value("method").toString();
        const QJsonObject p = m.value("params").toObject();
        if (method == "Runtime.exceptionThrown")
            errors << "exception: " + QString::fromUtf8(QJsonDocument(p).toJson());
        else if (method == "Runtime.consoleAPICalled" && p.value("type").toString() == "error")
            errors << "console.error: " + QString::fromUtf8(QJsonDocument(p).toJson());
    }

    QTemporaryDir profile;
    QProcess proc;
    QWebSocket cdp;
    QString session;
    int lastId = 0;
    QHash<int, QJsonObject> replies;
};
