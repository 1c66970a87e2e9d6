// The one-shot request helper against real servers on 127.0.0.1: one report
// per request, the 10-second time-out on the real clock, headers and body as
// sent, and certificate checks on HTTPS.

#include "httpfun.h"
#include "localserver.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QSslConfiguration>
#include <QTest>

namespace {

struct Request
{
    QPointer<HttpFun> fun = new HttpFun;
    QSignalSpy spy{fun.data(), &HttpFun::signal_requestFinished};
};

// Waits for the one report; false when none came in time.
bool waitForReport(Request &r, int ms = 15000)
{
    QElapsedTimer clock;
    clock.start();
    while (r.spy.isEmpty() && clock.elapsed() < ms)
        QTest::qWait(20);
    return !r.spy.isEmpty();
}

} // namespace

class HttpFunTest : public QObject
{
    Q_OBJECT

    TestCertificates certs;

private slots:
    void initTestCase()
    {
        QVERIFY2(QSslSocket::supportsSsl(), "Qt has no TLS backend");
        QVERIFY2(certs.make(), qPrintable(certs.error));
        // Trust the test CA the way the system's CAs are trusted.
        QSslConfiguration conf = QSslConfiguration::defaultConfiguration();
        conf.addCaCertificate(certs.ca);
        QSslConfiguration::setDefaultConfiguration(conf);
    }

    void answerWithinTheTimeIsOneSuccess()
    {
        LocalServer server;
        QVERIFY(server.start());
        server.body = "gefunden: Straße";
        server.delayMs = 300;
        Request r;
        r.fun->sendGetRequest(server.url("http", "/status?id=7"));
        QVERIFY(waitForReport(r));
        QCOMPARE(r.spy.count(), 1);
        QCOMPARE(r.spy.at(0).at(0).toBool(), true);
        QCOMPARE(r.spy.at(0).at(1).toString(), QString("gefunden: Straße"));
        // Gone after its report, so no time-out can follow.
        QTRY_VERIFY(r.fun.isNull());
        QCOMPARE(r.spy.count(), 1);
        QCOMPARE(server.requests.size(), 1);
    }

    void getCarriesTheFormContentType()
    {
        LocalServer server;
        QVERIFY(server.start());
        Request r;
        r.fun->sendGetRequest(server.url("http", "/q?a=1&b=2"));
        QVERIFY(waitForReport(r));
        QCOMPARE(server.requests.size(), 1);
        const ReceivedRequest &got = server.requests.at(0);
        QCOMPARE(got.method, QByteArray("GET"));
        QCOMPARE(got.target, QByteArray("/q?a=1&b=2"));
        QCOMPARE(got.values("Content-Type"),
                 QList<QByteArray>{"application/x-www-form-urlencoded"});
        QVERIFY(got.body.isEmpty());
    }

    void otherStatusIsFailureWithBody_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("reason");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("201") << 201 << QByteArray("Created") << QByteArray("made");
        QTest::newRow("204") << 204 << QByteArray("No Content") << QByteArray();
        QTest::newRow("301") << 301 << QByteArray("Moved Permanently") << QByteArray("moved");
        QTest::newRow("404") << 404 << QByteArray("Not Found") << QByteArray("no such record");
        QTest::newRow("500") << 500 << QByteArray("Internal Server Error")
                             << QByteArray("broken: ü");
    }
    void otherStatusIsFailureWithBody()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, reason);
        QFETCH(QByteArray, body);
        LocalServer server;
        QVERIFY(server.start());
        server.status = status;
        server.reason = reason;
        server.body = body;
        Request r;
        r.fun->sendPostRequest(server.url("http", "/record"), "a=1");
        QVERIFY(waitForReport(r));
        QCOMPARE(r.spy.at(0).at(0).toBool(), false);
        QCOMPARE(r.spy.at(0).at(1).toString(), QString::fromUtf8(body));
        QTRY_VERIFY(r.fun.isNull());
        QCOMPARE(r.spy.count(), 1);
    }

    void refusedConnectionIsFailure()
    {
        quint16 port;
        {
            LocalServer closed;
            QVERIFY(closed.start());
            port = closed.serverPort();
        }
        Request r;
        r.fun->sendGetRequest(QStringLiteral("http://127.0.0.1:%1/x").arg(port));
        QVERIFY(waitForReport(r, 5000));
        QCOMPARE(r.spy.at(0).at(0).toBool(), false);
        QCOMPARE(r.spy.at(0).at(1).toString(), QString());
        QTRY_VERIFY(r.fun.isNull());
        QCOMPARE(r.spy.count(), 1);
    }

    void noAnswerTimesOutAfterTenSeconds()
    {
        LocalServer server;
        QVERIFY(server.start());
        server.answer = false;
        Request r;
        QElapsedTimer clock;
        clock.start();
        r.fun->sendGetRequest(server.url("http", "/silent"));
        QVERIFY(waitForReport(r, 20000));
        const qint64 waited = clock.elapsed();
        QVERIFY2(waited >= 10000 && waited < 15000, qPrintable(QString::number(waited)));
        QCOMPARE(r.spy.at(0).at(0).toBool(), false);
        QCOMPARE(r.spy.at(0).at(1).toString(), QString("timeout"));
        // The helper and its reply are gone, which ends the connection, and
        // the answerless request is not reported a second time.
        QTRY_VERIFY(r.fun.isNull());
        QTRY_COMPARE(server.disconnections, 1);
        QTest::qWait(500);
        QCOMPARE(r.spy.count(), 1);
        QCOMPARE(server.requests.size(), 1);
    }

    void postArrivesAsGiven()
    {
        LocalServer server;
        QVERIFY(server.start());
        // Raw on purpose: spaces, commas and a "%" go out unencoded.
        const QString data = "name=Zoë Ünal&list=a,b c&sign=%41+1&empty=";
        Request r;
        r.fun->sendPostRequest(server.url("http", "/cardv/access/record.php"), data);
        QVERIFY(waitForReport(r));
        QCOMPARE(server.requests.size(), 1);
        const ReceivedRequest &got = server.requests.at(0);
        QCOMPARE(got.method, QByteArray("POST"));
        QCOMPARE(got.target, QByteArray("/cardv/access/record.php"));
        QCOMPARE(got.values("Content-Type"),
                 QList<QByteArray>{"application/x-www-form-urlencoded"});
        // Bytes of the UTF-8 text, not characters.
        QCOMPARE(got.values("Content-Length"),
                 QList<QByteArray>{QByteArray::number(data.toUtf8().size())});
        QVERIFY(data.toUtf8().size() > data.size());
        QCOMPARE(got.body, data.toUtf8());
        QVERIFY(!got.encrypted);
    }

    void capitalHttpsGoesOverTls()
    {
        LocalServer server;
        server.useTls(certs.server, certs.serverKey);
        QVERIFY(server.start());
        server.body = "secure";
        Request r;
        r.fun->sendPostRequest(server.url("HTTPS", "/upper"), "k=v");
        QVERIFY(waitForReport(r));
        QCOMPARE(server.handshakes, 1);
        QCOMPARE(server.requests.size(), 1);
        QVERIFY(server.requests.at(0).encrypted);
        QCOMPARE(server.requests.at(0).body, QByteArray("k=v"));
        QCOMPARE(r.spy.at(0).at(0).toBool(), true);
        QCOMPARE(r.spy.at(0).at(1).toString(), QString("secure"));
    }

    void trustedCertificateSucceedsOnModernTls()
    {
        LocalServer server;
        server.useTls(certs.server, certs.serverKey);
        QVERIFY(server.start());
        server.body = "trusted";
        Request r;
        r.fun->sendGetRequest(server.url("https", "/ok"));
        QVERIFY(waitForReport(r));
        QCOMPARE(r.spy.at(0).at(0).toBool(), true);
        QCOMPARE(r.spy.at(0).at(1).toString(), QString("trusted"));
        QCOMPARE(server.requests.size(), 1);
        const QSsl::SslProtocol p = server.requests.at(0).protocol;
        QVERIFY2(p == QSsl::TlsV1_2 || p == QSsl::TlsV1_3, qPrintable(QString::number(p)));
    }

    void selfSignedCertificateFails()
    {
        LocalServer server;
        server.useTls(certs.selfSigned, certs.selfSignedKey);
        QVERIFY(server.start());
        server.body = "should not be read";
        Request r;
        r.fun->sendPostRequest(server.url("https", "/record"), "secret=1");
        QVERIFY(waitForReport(r));
        QCOMPARE(r.spy.at(0).at(0).toBool(), false);
        QCOMPARE(r.spy.at(0).at(1).toString(), QString());
        QVERIFY(server.connections >= 1);
        // Nothing was sent to the unverified peer.
        QCOMPARE(server.requests.size(), 0);
        QTRY_VERIFY(r.fun.isNull());
        QCOMPARE(r.spy.count(), 1);
    }

    void wrongNameFails()
    {
        // Signed by the trusted CA, but for 127.0.0.1 and localhost only.
        LocalServer server;
        server.useTls(certs.server, certs.serverKey);
        QVERIFY(server.start(QHostAddress("127.0.0.2")));
        Request r;
        r.fun->sendGetRequest(server.url("https", "/x"));
        QVERIFY(waitForReport(r));
        QCOMPARE(r.spy.at(0).at(0).toBool(), false);
        QVERIFY(server.connections >= 1);
        QCOMPARE(server.requests.size(), 0);
    }
};

QTEST_GUILESS_MAIN(HttpFunTest)
#include "tst_httpfun.moc"
