#pragma once

#include <QNetworkInterface>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QString>
#include <QVector>

class HttpFun;

// The usage record (customer, host, system, network address, time, version)
// and the build.info readers behind the customer folder. A process-wide
// instance; the record goes out at most once, and only when a report host is
// set.
class RecordInfo : public QObject
{
    Q_OBJECT
public:
    static RecordInfo *getInstance();

    // From build.info; cached once found, read again while empty.
    QString getCustomer();
    QString getVersion();
    // "<hardware address>,<interface name>" of the first suitable interface,
    // or empty; cached once found.
    QString getHostMacAddress();

    void RecordUserInfoToServer();

    // Host (or host:port) the record goes to; starts as the build's
    // VELOMAR_REPORT_HOST.
    QString reportHost() const { return host; }
    void setReportHost(const QString &reportHost) { host = reportHost; }
    static QString defaultReportHost();

    using Field = QPair<QString, QString>;
    struct Interface
    {
        QNetworkInterface::InterfaceFlags flags;
        QString name;
        QString hardwareAddress;
    };

    // Up, running, broadcast and multicast, not loopback, and no "vmware" in
    // the name (only in lower case: "VMware" passes).
    static bool isReportInterface(QNetworkInterface::InterfaceFlags flags, const QString &name);
    // The address text of the first interface that passes, or empty.
    static QString hostMacAddress(const QVector<Interface> &interfaces);
    // The record's fields in the order the server reads them; system, host
    // name and local time filled in here.
    static QVector<Field> recordFields(const QString &customer, const QString &mac,
                                       const QString &version);
    // "key=value" pairs joined by "&", as they are: no percent-encoding.
    static QString formBody(const QVector<Field> &fields);

private:
    explicit RecordInfo(QObject *parent);

    QPointer<HttpFun> http;
    QString host;
    bool sent = false;
};
