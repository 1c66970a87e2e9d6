#pragma once

#include <QObject>
#include <QString>

class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

// One GET or POST with a form content type, guarded by a 10-second time-out.
// Reports once through signal_requestFinished, then deletes itself: create it
// with new and send one request.
class HttpFun : public QObject
{
    Q_OBJECT
public:
    explicit HttpFun(QObject *parent = nullptr);
    ~HttpFun() override;

    void sendGetRequest(const QString &url);
    void sendPostRequest(const QString &url, QString data);

    static constexpr int timeoutMs = 10000;

signals:
    void signal_requestFinished(bool bSuccess, const QString &strResult);

private slots:
    void slot_requestFinished();
    void slot_requestTimeout();

private:
    void send(const QString &url, const QByteArray *body);
    void finish(bool success, const QString &result);

    QNetworkAccessManager *manager;
    QNetworkReply *reply = nullptr;
    QTimer *timer;
    QString strUrl;
    bool reported = false;
};
