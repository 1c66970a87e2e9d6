#pragma once

// What the network tests talk to: a small HTTP/1.1 server on 127.0.0.1, in
// the clear or over TLS, and certificates made with the openssl command.

#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QPointer>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>

struct ReceivedRequest
{
    QByteArray method;
    QByteArray target;
    QList<QPair<QByteArray, QByteArray>> headers; // in the order they came
    QByteArray body;
    bool encrypted = false;
    QSsl::SslProtocol protocol = QSsl::UnknownProtocol;

    QList<QByteArray> values(const QByteArray &name) const
    {
        QList<QByteArray> found;
        for (const auto &h : headers)
            if (h.first.toLower() == name.toLower())
                found.append(h.second);
        return found;
    }
    QByteArray value(const QByteArray &name) const { return values(name).value(0); }
};

class LocalServer : public QTcpServer
{
public:
    // The answer: status, reason and body, written after delayMs in `chunks`
    // pieces 30 ms apart. With answer false the connection stays silent.
    int status = 200;
    QByteArray reason = "OK";
    QByteArray body = "ok";
    int delayMs = 0;
    int chunks = 1;
    bool answer = true;

    QList<ReceivedRequest> requests;
    int connections = 0;
    int disconnections = 0;
    int handshakes = 0;

    // Serves TLS with this certificate from now on.
    void useTls(const QSslCertificate &certificate, const QSslKey &key)
    {
        tlsCertificate = certificate;
        tlsKey = key;
    }
    bool start(const QHostAddress &address = QHostAddress(QHostAddress::LocalHost))
    {
        return listen(address, 0);
    }
    QString url(const QString &scheme, const QString &path) const
    {
        return QStringLiteral("%1://%2:%3%4")
            .arg(scheme, serverAddress().toString())
            .arg(serverPort())
            .arg(path);
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        ++connections;
        QTcpSocket *socket;
        if (!tlsCertificate.isNull()) {
            auto *tls = new QSslSocket(this);
            tls->setSocketDescriptor(descriptor);
            tls->setLocalCertificate(tlsCertificate);
            tls->setPrivateKey(tlsKey);
            tls->setPeerVerifyMode(QSslSocket::VerifyNone);
            connect(tls, &QSslSocket::encrypted, this, [this] { ++handshakes; });
            tls->startServerEncryption();
            socket = tls;
        } else {
            socket = new QTcpSocket(this);
            socket->setSocketDescriptor(descriptor);
        }
        connect(socket, &QIODevice::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QAbstractSocket::disconnected, this, [this, socket] {
            ++disconnections;
            socket->deleteLater();
        });
    }

private:
    void read(QTcpSocket *socket)
    {
        QByteArray &buffer = pending[socket];
        buffer += socket->readAll();
        const int end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        ReceivedRequest r;
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
        r.method = first.value(0);
        r.target = first.value(1);
        for (int i = 1; i < lines.size(); ++i) {
            const int colon = lines[i].indexOf(':');
            if (colon > 0)
                r.headers.append({lines[i].left(colon), lines[i].mid(colon + 1).trimmed()});
        }
        const int length = r.value("Content-Length").toInt();
        if (buffer.size() < end + 4 + length)
            return;
        r.body = buffer.mid(end + 4, length);
        buffer.clear();
        if (auto *tls = qobject_cast<QSslSocket *>(socket)) {
            r.encrypted = tls->isEncrypted();
            r.protocol = tls->sessionProtocol();
        }
        requests.append(r);
        if (!answer)
            return;
        QPointer<QTcpSocket> guard(socket);
        QTimer::singleShot(delayMs, this, [this, guard] {
            if (guard)
                respond(guard);
        });
    }

    void respond(QTcpSocket *socket)
    {
        const QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason +
                                "\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Length: " +
                                QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n";
        socket->write(head);
        const int piece = (body.size() + chunks - 1) / qMax(1, chunks);
        QPointer<QTcpSocket> guard(socket);
        for (int i = 0; i < chunks; ++i) {
            const QByteArray part = body.mid(i * piece, piece);
            QTimer::singleShot(30 * i, this, [guard, part, last = i == chunks - 1] {
                if (!guard)
                    return;
                guard->write(part);
                if (last)
                    guard->disconnectFromHost();
            });
        }
    }

    QSslCertificate tlsCertificate;
    QSslKey tlsKey;
    QHash<QTcpSocket *, QByteArray> pending;
};

// A test CA with a server certificate it signed for 127.0.0.1, and a
// self-signed certificate for the same address, made fresh by openssl.
class TestCertificates
{
public:
    QSslCertificate ca;
    QSslCertificate server;
    QSslKey serverKey;
    QSslCertificate selfSigned;
    QSslKey selfSignedKey;
    QString error;

    bool make()
    {
        if (!dir.isValid())
            return fail("no temporary folder");
        const QStringList key = {"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                                 "-nodes"};
        const QString names = "subjectAltName=IP:127.0.0.1,DNS:localhost";
        if (!openssl(QStringList{"req", "-x509"} + key +
                     QStringList{"-keyout", path("ca.key"), "-out", path("ca.crt"), "-days", "2",
                                 "-subj", "/CN=Velomar Test CA", "-addext",
                                 "basicConstraints=critical,CA:TRUE", "-addext",
                                 "keyUsage=critical,keyCertSign,cRLSign"}))
            return false;
        if (!openssl(QStringList{"req"} + key +
                     QStringList{"-keyout", path("server.key"), "-out", path("server.csr"), "-subj",
                                 "/CN=127.0.0.1"}))
            return false;
        QFile ext(path("server.ext"));
        if (!ext.open(QIODevice::WriteOnly))
            return fail("cannot write server.ext");
        ext.write(names.toUtf8() + "\nbasicConstraints=CA:FALSE\n"
                                   "keyUsage=digitalSignature,keyEncipherment\n"
                                   "extendedKeyUsage=serverAuth\n");
        ext.close();
        if (!openssl({"x509", "-req", "-in", path("server.csr"), "-CA", path("ca.crt"), "-CAkey",
                      path("ca.key"), "-CAcreateserial", "-days", "2", "-extfile",
                      path("server.ext"), "-out", path("server.crt")}))
            return false;
        if (!openssl(QStringList{"req", "-x509"} + key +
                     QStringList{"-keyout", path("self.key"), "-out", path("self.crt"), "-days",
                                 "2", "-subj", "/CN=127.0.0.1", "-addext", names}))
            return false;
        ca = certificate("ca.crt");
        server = certificate("server.crt");
        selfSigned = certificate("self.crt");
        serverKey = privateKey("server.key");
        selfSignedKey = privateKey("self.key");
        if (ca.isNull() || server.isNull() || selfSigned.isNull() || serverKey.isNull() ||
            selfSignedKey.isNull())
            return fail("cannot load the certificates openssl made");
        return true;
    }

private:
    QString path(const QString &name) const { return dir.filePath(name); }
    bool fail(const QString &why)
    {
        error = why;
        return false;
    }
    bool openssl(const QStringList &args)
    {
        QProcess p;
        p.start("openssl", args);
        if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit ||
            p.exitCode() != 0)
            return fail("openssl " + args.join(' ') + ": " + p.errorString() + " " +
                        QString::fromLocal8Bit(p.readAllStandardError()));
        return true;
    }
    QByteArray contents(const QString &name) const
    {
        QFile f(path(name));
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    QSslCertificate certificate(const QString &name) const
    {
        return QSslCertificate(contents(name), QSsl::Pem);
    }
    QSslKey privateKey(const QString &name) const
    {
        return QSslKey(contents(name), QSsl::Ec, QSsl::Pem, QSsl::PrivateKey);
    }

    QTemporaryDir dir;
};
