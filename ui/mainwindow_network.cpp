// MainWindow: progress of a file download (HttpFileDownloader::progress).

#include "httpfiledownloader.h"
#include "mainwindow.h"

#include <QDebug>

void MainWindow::fileDownloadProgress(qint64 done, qint64 total)
{
    const QString percent = HttpFileDownloader::percentText(done, total);
    if (percent.isEmpty()) {
        // No total to divide by: the server sent no length.
        qDebug() << "download progress" << done << "bytes, total unknown";
        return;
    }
    qDebug() << percent;
}
