// The file downloader against a real server on 127.0.0.1: the file and its
// new folders, progress, refused URLs that leave the disk alone, and the
// percentage text of the window's progress slot.

#include "httpfiledownloader.h"
#include "localserver.h"
#include "testutil.h"

#include <QDirIterator>
#include <QSignalSpy>

namespace {

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QStringList everythingUnder(const QString &dir)
{
    QStringList found;
    QDirIterator it(dir, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        found << it.next();
    return found;
}

} // namespace

class HttpFileDownloaderTest : public QObject
{
    Q_OBJECT

private slots:
    void downloadsIntoNewNestedFolder()
    {
        LocalServer server;
        QVERIFY(server.start());
        QByteArray content;
        for (quint32 i = 0; i < 300000; ++i)
            content += char(i * 7919u % 251u);
        server.body = content;
        server.chunks = 5;
        Scratch s;
        const QString target = s.path("clips/2024/june/drive.bin");
        QVERIFY(!QDir(s.path("clips")).exists());

        HttpFileDownloader downloader;
        QSignalSpy progress(&downloader, &HttpFileDownloader::progress);
        QVERIFY(downloader.getFileFromURL(QUrl(server.url("http", "/files/drive.bin")), target));
        QVERIFY(QDir(s.path("clips/2024/june")).exists());
        QTRY_COMPARE_WITH_TIMEOUT(readFile(target).size(), content.size(), 15000);
        QCOMPARE(readFile(target), content);

        QCOMPARE(server.requests.size(), 1);
        QCOMPARE(server.requests.at(0).method, QByteArray("GET"));
        QCOMPARE(server.requests.at(0).target, QByteArray("/files/drive.bin"));
        // Several reports as the pieces come, rising to the whole length.
        QVERIFY2(progress.count() >= 2, qPrintable(QString::number(progress.count())));
        qint64 previous = -1;
        for (const QList<QVariant> &p : progress) {
            QVERIFY(p.at(0).toLongLong() >= previous);
            previous = p.at(0).toLongLong();
            QCOMPARE(p.at(1).toLongLong(), qint64(content.size()));
        }
        QCOMPARE(previous, qint64(content.size()));
    }

    void refusedUrlsLeaveTheDiskAlone_data()
    {
        QTest::addColumn<QString>("url");
        QTest::newRow("https") << "https://127.0.0.1:%1/file.bin";
        QTest::newRow("ftp") << "ftp://127.0.0.1:%1/file.bin";
        QTest::newRow("invalid") << "http://[127.0.0.1:%1/file.bin";
        QTest::newRow("empty path") << "http://127.0.0.1:%1";
        QTest::newRow("empty") << "";
    }
    void refusedUrlsLeaveTheDiskAlone()
    {
        QFETCH(QString, url);
        LocalServer server;
        QVERIFY(server.start());
        Scratch s;
        HttpFileDownloader downloader;
        QSignalSpy progress(&downloader, &HttpFileDownloader::progress);
        const QUrl u = url.isEmpty() ? QUrl() : QUrl(url.arg(server.serverPort()));
        QVERIFY(!downloader.getFileFromURL(u, s.path("new/folder/file.bin")));
        QCOMPARE(everythingUnder(s.path("")), QStringList());
        QTest::qWait(200);
        QCOMPARE(server.connections, 0);
        QCOMPARE(progress.count(), 0);
    }

    void unopenableFileIsRefused()
    {
        LocalServer server;
        QVERIFY(server.start());
        Scratch s;
        s.bytes("blocker", "a file where a folder would go");
        HttpFileDownloader downloader;
        QTest::ignoreMessage(QtDebugMsg, "open local file fail");
        QVERIFY(!downloader.getFileFromURL(QUrl(server.url("http", "/f.bin")),
                                           s.path("blocker/sub/f.bin")));
        QTest::qWait(200);
        QCOMPARE(server.connections, 0);
    }

    void pathWithoutSlashBecomesAFolder()
    {
        // Without a "/" the whole path is taken as the folder to make, so the
        // file cannot be opened there.
        LocalServer server;
        QVERIFY(server.start());
        Scratch s;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(s.path("")));
        HttpFileDownloader downloader;
        QTest::ignoreMessage(QtDebugMsg, "open local file fail");
        const bool started =
            downloader.getFileFromURL(QUrl(server.url("http", "/f.bin")), "plain.bin");
        QDir::setCurrent(before);
        QVERIFY(!started);
        QVERIFY(QFileInfo(s.path("plain.bin")).isDir());
        QCOMPARE(server.connections, 0);
    }

    void percentText_data()
    {
        QTest::addColumn<qint64>("done");
        QTest::addColumn<qint64>("total");
        QTest::addColumn<QString>("text");
        QTest::newRow("half") << qint64(50) << qint64(100) << "50%";
        QTest::newRow("rounds down") << qint64(2) << qint64(3) << "66%";
        QTest::newRow("none yet") << qint64(0) << qint64(4096) << "0%";
        QTest::newRow("all") << qint64(4096) << qint64(4096) << "100%";
        // done * 100 overflows 32 bits here.
        QTest::newRow("large") << qint64(6000000000) << qint64(8000000000) << "75%";
        QTest::newRow("total 0") << qint64(10) << qint64(0) << "";
        QTest::newRow("total unknown") << qint64(10) << qint64(-1) << "";
    }
    void percentText()
    {
        QFETCH(qint64, done);
        QFETCH(qint64, total);
        QFETCH(QString, text);
        QCOMPARE(HttpFileDownloader::percentText(done, total), text);
    }
};

QTEST_GUILESS_MAIN(HttpFileDownloaderTest)
#include "tst_httpfiledownloader.moc"
