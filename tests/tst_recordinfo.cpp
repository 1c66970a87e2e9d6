// The usage record: its body and interface choice, the build.info readers
// and their caches (in a copy of this program beside its own build.info),
// and one record posted to a local HTTPS server.

#include "config.h"
#include "localserver.h"
#include "recordinfo.h"
#include "testutil.h"

#include <QDateTime>
#include <QProcess>
#include <QRegularExpression>
#include <QSslConfiguration>
#include <QSysInfo>
#include <QTextStream>

namespace {

using Flags = QNetworkInterface::InterfaceFlags;
const Flags active = QNetworkInterface::IsUp | QNetworkInterface::IsRunning |
                     QNetworkInterface::CanBroadcast | QNetworkInterface::CanMulticast;

const char *probeVariable = "VELOMAR_RECORDINFO_PROBE";

// Run in a copy of this program: the build.info readers through changes of
// the file beside it.
int probe()
{
    RecordInfo *record = RecordInfo::getInstance();
    QTextStream out(stdout);
    const QString info = Config::buildInfoPath();
    const auto write = [&](const QByteArray &content) {
        QFile f(info);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            qFatal("cannot write %s", qPrintable(info));
        f.write(content);
    };
    const auto show = [&](const char *step) {
        out << step << ".customer=" << record->getCustomer() << '\n'
            << step << ".version=" << record->getVersion() << '\n';
    };
    QFile::remove(info);
    show("missing");
    write("Velomar V1.0\nBuild Date: 2024/6/1 10:04(UTC)\nName: Velomar Viewer\n");
    show("without");
    write("\"Velomar V1.0\"\n\n  \"From revision: abc123\"  \nBuild Date: 2024/6/1 10:04(UTC)\n"
          "customer: acme\ncustomer: second\n");
    show("found");
    write("From revision: zzz\ncustomer: other\n");
    show("changed");
    return 0;
}

QString field(const QString &out, const QString &name)
{
    for (const QString &line : out.split('\n'))
        if (line.startsWith(name + '='))
            return line.mid(name.size() + 1);
    return QString("<none>");
}

// The customer line of the build's own build.info, read here without Config.
QString builtCustomer()
{
    QFile f(Config::buildInfoPath());
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    for (const QByteArray &line : f.readAll().split('\n'))
        if (line.startsWith("customer: "))
            return QString::fromUtf8(line.mid(10).trimmed());
    return QString();
}

QStringList keysOf(const QString &body)
{
    QStringList keys;
    for (const QString &pair : body.split('&'))
        keys << pair.section('=', 0, 0);
    return keys;
}

const QStringList recordKeys = {"report_type",      "access_customer",   "user_hostname",
                                "user_os_version",  "user_device_model", "user_device_mac",
                                "user_device_time", "user_app_version"};

} // namespace

class RecordInfoTest : public QObject
{
    Q_OBJECT

private slots:
    void interfaceFilter_data()
    {
        QTest::addColumn<int>("flags");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("taken");
        QTest::newRow("ethernet") << int(active) << "eth0" << true;
        QTest::newRow("loopback") << int(active | QNetworkInterface::IsLoopBack) << "lo" << false;
        QTest::newRow("vmware") << int(active) << "vmware0" << false;
        QTest::newRow("vmware inside") << int(active) << "net-vmware-nat" << false;
        QTest::newRow("VMware") << int(active) << "VMware Network Adapter VMnet8" << true;
        QTest::newRow("down") << int(active & ~Flags(QNetworkInterface::IsUp)) << "eth1" << false;
        QTest::newRow("not running")
            << int(active & ~Flags(QNetworkInterface::IsRunning)) << "eth1" << false;
        QTest::newRow("no broadcast")
            << int(active & ~Flags(QNetworkInterface::CanBroadcast)) << "tun0" << false;
        QTest::newRow("no multicast")
            << int(active & ~Flags(QNetworkInterface::CanMulticast)) << "eth1" << false;
        QTest::newRow("point to point")
            << int(active | QNetworkInterface::IsPointToPoint) << "ppp0" << true;
    }
    void interfaceFilter()
    {
        QFETCH(int, flags);
        QFETCH(QString, name);
        QFETCH(bool, taken);
        QCOMPARE(RecordInfo::isReportInterface(Flags(flags), name), taken);
    }

    void firstSuitableInterfaceGivesTheAddress()
    {
        const Flags loopback = active | QNetworkInterface::IsLoopBack;
        QCOMPARE(RecordInfo::hostMacAddress({{loopback, "lo", "00:00:00:00:00:00"},
                                             {active, "vmware1", "00:50:56:C0:00:01"},
                                             {active, "wlan0", "A4:5E:60:D1:22:3B"},
                                             {active, "eth0", "3C:52:82:10:20:30"}}),
                 QString("A4:5E:60:D1:22:3B,wlan0"));
        QCOMPARE(RecordInfo::hostMacAddress({{active, "VMware Adapter", "00:50:56:C0:00:08"}}),
                 QString("00:50:56:C0:00:08,VMware Adapter"));
        QCOMPARE(RecordInfo::hostMacAddress({}), QString());
    }

    void vmwareOnlyHostSendsAnEmptyMac()
    {
        const QString mac =
            RecordInfo::hostMacAddress({{active | QNetworkInterface::IsLoopBack, "lo", "00:00"},
                                        {active, "vmware0", "00:50:56:C0:00:01"}});
        QCOMPARE(mac, QString());
        const QString body = RecordInfo::formBody(RecordInfo::recordFields("acme", mac, "abc"));
        QVERIFY2(body.contains("&user_device_mac=&user_device_time="), qPrintable(body));
    }

    void bodyHoldsTheFieldsInOrder()
    {
        const QString before = QDateTime::currentDateTime().toString("yyyy-MM-dd hh:mm:ss");
        const QString body = RecordInfo::formBody(
            RecordInfo::recordFields("acme", "A4:5E:60:D1:22:3B,en0", "abc123"));
        const QString after = QDateTime::currentDateTime().toString("yyyy-MM-dd hh:mm:ss");
        QCOMPARE(keysOf(body), recordKeys);
        const QString os = QSysInfo::prettyProductName() + ',' + QSysInfo::kernelVersion() + ',' +
                           QSysInfo::currentCpuArchitecture() + ',' + QSysInfo::buildAbi();
        const QString start = "report_type=velomar&access_customer=acme&user_hostname=" +
                              QSysInfo::machineHostName() + "&user_os_version=" + os +
                              "&user_device_model=&user_device_mac=A4:5E:60:D1:22:3B,en0"
                              "&user_device_time=";
        QVERIFY2(body.startsWith(start), qPrintable(body));
        QVERIFY(body.endsWith("&user_app_version=abc123"));
        const QString time = body.mid(start.size()).section('&', 0, 0);
        QVERIFY2(time == before || time == after, qPrintable(time));
        QVERIFY(!body.contains('\n'));
    }

    void emptyValuesKeepTheirSeparators()
    {
        const QString body = RecordInfo::formBody(RecordInfo::recordFields("", "", ""));
        QVERIFY(body.contains("&access_customer=&user_hostname="));
        QVERIFY(body.contains("&user_device_mac=&user_device_time="));
        // Even with an empty last value, no "&" at the end.
        QVERIFY(body.endsWith("&user_app_version="));
        QVERIFY(!body.endsWith('&'));
        QCOMPARE(keysOf(body), recordKeys);
    }

    void formBodyIsRaw()
    {
        QCOMPARE(RecordInfo::formBody({}), QString());
        QCOMPARE(RecordInfo::formBody({{"a", "b"}}), QString("a=b"));
        QCOMPARE(RecordInfo::formBody({{"a", ""}, {"b", ""}}), QString("a=&b="));
        // No percent-encoding, and a "%1" in a value is not a placeholder.
        QCOMPARE(RecordInfo::formBody(
                     {{"os", "Debian GNU/Linux 12 (bookworm),6.1"}, {"x", "%1 %2 ü"}, {"y", "z"}}),
                 QString("os=Debian GNU/Linux 12 (bookworm),6.1&x=%1 %2 ü&y=z"));
    }

    void buildInfoReadersCacheOnlyWhatTheyFind()
    {
        Scratch s;
        QVERIFY(QDir().mkpath(s.path("app/bin")));
        QVERIFY(QDir().mkpath(s.path("app/res")));
        const QString exe = s.path("app/bin/recordprobe");
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), exe));
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(probeVariable, "1");
        p.setProcessEnvironment(env);
        p.start(exe, QStringList());
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(p.exitCode(), 0);
        const QString out = QString::fromUtf8(p.readAllStandardOutput());
        // No file, then no such line: empty, and read again next time.
        QCOMPARE(field(out, "missing.customer"), QString());
        QCOMPARE(field(out, "missing.version"), QString());
        QCOMPARE(field(out, "without.customer"), QString());
        QCOMPARE(field(out, "without.version"), QString());
        // Quotes removed, line trimmed, the first matching line.
        QCOMPARE(field(out, "found.customer"), QString("acme"));
        QCOMPARE(field(out, "found.version"), QString("abc123"));
        // Once found, kept.
        QCOMPARE(field(out, "changed.customer"), QString("acme"));
        QCOMPARE(field(out, "changed.version"), QString("abc123"));
        QVERIFY(QFile::exists(s.path("app/build.info")));
    }

    void recordGoesOnceToTheReportHost()
    {
        TestCertificates certs;
        QVERIFY2(certs.make(), qPrintable(certs.error));
        QSslConfiguration conf = QSslConfiguration::defaultConfiguration();
        conf.addCaCertificate(certs.ca);
        QSslConfiguration::setDefaultConfiguration(conf);

        RecordInfo *record = RecordInfo::getInstance();
        QCOMPARE(record, RecordInfo::getInstance());
        QCOMPARE(record->reportHost(), RecordInfo::defaultReportHost());

        // No host: nothing sent, and the one record is still to come.
        record->setReportHost(QString());
        QTest::ignoreMessage(QtDebugMsg, "no usage-report host, record not sent");
        record->RecordUserInfoToServer();

        LocalServer server;
        server.useTls(certs.server, certs.serverKey);
        QVERIFY(server.start());
        record->setReportHost(QStringLiteral("127.0.0.1:%1").arg(server.serverPort()));
        record->RecordUserInfoToServer();
        QTRY_COMPARE_WITH_TIMEOUT(server.requests.size(), 1, 15000);
        const ReceivedRequest &got = server.requests.at(0);
        QVERIFY(got.encrypted);
        QCOMPARE(got.method, QByteArray("POST"));
        QCOMPARE(got.target, QByteArray("/cardv/access/record.php"));
        QCOMPARE(got.values("Content-Type"),
                 QList<QByteArray>{"application/x-www-form-urlencoded"});
        QCOMPARE(got.values("Content-Length"),
                 QList<QByteArray>{QByteArray::number(got.body.size())});

        const QString body = QString::fromUtf8(got.body);
        const QString customer = builtCustomer();
        QVERIFY2(!customer.isEmpty(), "the build writes a customer line");
        QCOMPARE(record->getCustomer(), customer);
        QVERIFY(!record->getVersion().isEmpty());
        QCOMPARE(keysOf(body), recordKeys);
        QVERIFY2(
            body.startsWith("report_type=velomar&access_customer=" + customer + "&user_hostname="),
            qPrintable(body));
        QVERIFY(body.contains("&user_device_model=&user_device_mac=" + record->getHostMacAddress() +
                              "&user_device_time="));
        QVERIFY(body.endsWith("&user_app_version=" + record->getVersion()));

        // The helper went with its one request: a second call sends nothing.
        QTest::ignoreMessage(QtDebugMsg, "usage record already sent");
        record->RecordUserInfoToServer();
        QTest::qWait(500);
        QCOMPARE(server.connections, 1);
        QCOMPARE(server.requests.size(), 1);
    }

    void hostAddressIsCached()
    {
        RecordInfo *record = RecordInfo::getInstance();
        const QString mac = record->getHostMacAddress();
        QCOMPARE(record->getHostMacAddress(), mac);
        if (!mac.isEmpty()) {
            const QString name = mac.section(',', 1);
            const QNetworkInterface i = QNetworkInterface::interfaceFromName(name);
            QVERIFY(RecordInfo::isReportInterface(i.flags(), i.humanReadableName()));
            QCOMPARE(mac.section(',', 0, 0), i.hardwareAddress());
        }
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet(probeVariable))
        return probe();
    RecordInfoTest test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_recordinfo.moc"
