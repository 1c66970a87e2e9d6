#pragma once

#include <QObject>
#include <QString>
#include <QUrl>

class QFile;
class QNetworkAccessManager;
class QNetworkReply;

// Fetches one file over plain HTTP into a local file, reporting progress.
// The caller owns it; one download per object.
class HttpFileDownloader : public QObject
{
    Q_OBJECT
public:
    explicit HttpFileDownloader(QObject *parent = nullptr);

    // True when the download was started. Refuses invalid URLs, every scheme
    // but "http" and URLs without a path, before touching the file system.
    bool getFileFromURL(const QUrl &url, QString localPath);
    // Makes the folder before the last "/" (the whole path when there is
    // none) and opens localPath for writing.
    bool openLocalFile(QString localPath);

    // "done * 100 / total" followed by "%"; empty when the total is not known
    // (0, or -1 as a reply gives it), since there is nothing to divide by.
    static QString percentText(qint64 done, qint64 total);

signals:
    void progress(qint64 done, qint64 total);

public slots:
    void downloadProgress(qint64 done, qint64 total);
    void finishDownload();

private:
    QNetworkAccessManager *manager;
    QFile *file = nullptr;
    QNetworkReply *reply = nullptr;
};
