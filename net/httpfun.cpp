#include "httpfun.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QTextCodec>
#include <QTimer>
#include <QUrl>

HttpFun::HttpFun(QObject *parent)
    : QObject(parent), manager(new QNetworkAccessManager(this)), timer(new QTimer)
{
    // A coarse timer may fire up to 5% early; the limit is 10 s.
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, &HttpFun::slot_requestTimeout);
}

HttpFun::~HttpFun()
{
    delete timer;
}

void HttpFun::sendGetRequest(const QString &url)
{
    send(url, nullptr);
}

void HttpFun::sendPostRequest(const QString &url, QString data)
{
    const QByteArray body = data.toUtf8();
    send(url, &body);
}

void HttpFun::send(const QString &url, const QByteArray *body)
{
    strUrl = url;
    QNetworkRequest request;
    // The form type goes on GET too: the report servers expect it on every request.
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    if (body)
        request.setRawHeader("Content-Length", QByteArray::number(body->size()));
    request.setUrl(QUrl(url, QUrl::TolerantMode));
    if (url.toLower().startsWith(QLatin1String("https"))) {
        // The system's trusted CAs and peer verification, TLS 1.2 at least:
        // older versions reach no current server, and an unverified peer
        // could read or change what is sent.
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setProtocol(QSsl::TlsV1_2OrLater);
        request.setSslConfiguration(ssl);
    }
    reply = body ? manager->post(request, *body) : manager->get(request);
    connect(reply, &QNetworkReply::finished, this, &HttpFun::slot_requestFinished);
    timer->start(timeoutMs);
}

void HttpFun::slot_requestFinished()
{
    timer->stop();
    const QString text = QTextCodec::codecForName("UTF-8")->toUnicode(reply->readAll());
    qDebug() << text;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    finish(status == 200, text);
}

void HttpFun::slot_requestTimeout()
{
    finish(false, QStringLiteral("timeout"));
}

void HttpFun::finish(bool success, const QString &result)
{
    // Whichever comes first, the answer or the time-out, is the only report:
    // an abort while the reply is deleted must not report again.
    if (reported)
        return;
    reported = true;
    timer->stop();
    if (reply) {
        disconnect(reply, nullptr, this, nullptr);
        reply->deleteLater();
    }
    emit signal_requestFinished(success, result);
    deleteLater();
}
