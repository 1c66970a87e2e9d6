#include "httpfiledownloader.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

HttpFileDownloader::HttpFileDownloader(QObject *parent)
    : QObject(parent), manager(new QNetworkAccessManager(this))
{
}

bool HttpFileDownloader::getFileFromURL(const QUrl &url, QString localPath)
{
    if (!url.isValid())
        return false;
    if (url.scheme() != QLatin1String("http"))
        return false;
    if (url.path().isEmpty())
        return false;
    if (!openLocalFile(localPath)) {
        qDebug() << "open local file fail";
        return false;
    }
    reply = manager->get(QNetworkRequest(url));
    connect(reply, &QNetworkReply::finished, this, &HttpFileDownloader::finishDownload);
    connect(reply, &QNetworkReply::downloadProgress, this, &HttpFileDownloader::downloadProgress);
    return true;
}

bool HttpFileDownloader::openLocalFile(QString localPath)
{
    const QString folder = localPath.left(localPath.lastIndexOf(QLatin1Char('/')));
    if (!QDir(folder).exists())
        QDir().mkpath(folder);
    delete file;
    file = new QFile(localPath, this);
    return file->open(QIODevice::WriteOnly);
}

QString HttpFileDownloader::percentText(qint64 done, qint64 total)
{
    if (total <= 0)
        return QString();
    return QStringLiteral("%1").arg(done * 100 / total, 0, 10) + QLatin1Char('%');
}

void HttpFileDownloader::downloadProgress(qint64 done, qint64 total)
{
    if (reply && file)
        file->write(reply->readAll());
    emit progress(done, total);
}

void HttpFileDownloader::finishDownload()
{
    qDebug() << "download finished";
    if (!file)
        return;
    // Whatever arrived after the last progress report.
    if (reply)
        file->write(reply->readAll());
    file->flush();
    file->close();
    delete file;
    file = nullptr;
}
