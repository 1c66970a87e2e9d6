// A local program that floods the map server on 127.0.0.1:9090, run by the
// map bridge test as a process of its own: one 4 MiB message from a client
// that was let in, then 400 connections opened and dropped, half of them
// after a WebSocket handshake. Prints the close code the big message got.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpSocket>
#include <QWebSocket>
#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);

    QWebSocket big;
    bool closed = false;
    QObject::connect(&big, &QWebSocket::disconnected, [&] { closed = true; });
    big.open(QUrl("ws://127.0.0.1:9090/"));
    QElapsedTimer t;
    t.start();
    while (big.state() != QAbstractSocket::ConnectedState && t.elapsed() < 10000)
        app.processEvents(QEventLoop::AllEvents, 50);
    if (big.state() != QAbstractSocket::ConnectedState) {
        std::printf("not connected\n");
        return 1;
    }
    big.sendTextMessage(QString(4 * 1024 * 1024, QLatin1Char('x')));
    t.restart();
    while (!closed && t.elapsed() < 20000)
        app.processEvents(QEventLoop::AllEvents, 50);
    std::printf("closed %d %s\n", closed ? int(big.closeCode()) : -1,
                qPrintable(big.closeReason()));

    const QByteArray handshake =
        "GET / HTTP/1.1\r\nHost: 127.0.0.1:9090\r\nUpgrade: websocket\r\n"
        "Connection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
        "Sec-WebSocket-Version: 13\r\n\r\n";
    int opened = 0;
    for (int i = 0; i < 400; ++i) {
        QTcpSocket s;
        s.connectToHost("127.0.0.1", 9090);
        if (!s.waitForConnected(5000))
            continue;
        ++opened;
        if (i % 2) {
            s.write(handshake);
            s.waitForReadyRead(2000); // the server's answer
        }
        s.abort();
    }
    std::printf("opened %d\n", opened);
    return 0;
}
