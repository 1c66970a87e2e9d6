#include "recordinfo.h"

#include "config.h"
#include "httpfun.h"

#include <QDateTime>
#include <QDebug>
#include <QSysInfo>

RecordInfo *RecordInfo::getInstance()
{
    static RecordInfo *instance = nullptr; // never deleted: used until exit
    if (!instance)
        instance = new RecordInfo(nullptr);
    return instance;
}

RecordInfo::RecordInfo(QObject *parent)
    : QObject(parent), http(new HttpFun(this)), host(defaultReportHost())
{
}

QString RecordInfo::defaultReportHost()
{
    return QStringLiteral(VELOMAR_REPORT_HOST);
}

QString RecordInfo::getCustomer()
{
    static QString customer;
    if (customer.isEmpty())
        customer = Config::buildInfoValue(QStringLiteral("customer:"));
    return customer;
}

QString RecordInfo::getVersion()
{
    static QString version;
    if (version.isEmpty())
        version = Config::buildInfoValue(QStringLiteral("From revision:"));
    return version;
}

bool RecordInfo::isReportInterface(QNetworkInterface::InterfaceFlags flags, const QString &name)
{
    const QNetworkInterface::InterfaceFlags wanted =
        QNetworkInterface::IsUp | QNetworkInterface::IsRunning | QNetworkInterface::CanBroadcast |
        QNetworkInterface::CanMulticast;
    return (flags & wanted) == wanted && !flags.testFlag(QNetworkInterface::IsLoopBack) &&
           !name.contains(QLatin1String("vmware"), Qt::CaseSensitive);
}

QString RecordInfo::hostMacAddress(const QVector<Interface> &interfaces)
{
    for (const Interface &i : interfaces)
        if (isReportInterface(i.flags, i.name))
            return i.hardwareAddress + QLatin1Char(',') + i.name;
    return QString();
}

QString RecordInfo::getHostMacAddress()
{
    static QString mac;
    if (!mac.isEmpty())
        return mac;
    QVector<Interface> interfaces;
    for (const QNetworkInterface &i : QNetworkInterface::allInterfaces())
        interfaces.append({i.flags(), i.humanReadableName(), i.hardwareAddress()});
    mac = hostMacAddress(interfaces);
    return mac;
}

QVector<RecordInfo::Field> RecordInfo::recordFields(const QString &customer, const QString &mac,
                                                    const QString &version)
{
    const QString os = QSysInfo::prettyProductName() + ',' + QSysInfo::kernelVersion() + ',' +
                       QSysInfo::currentCpuArchitecture() + ',' + QSysInfo::buildAbi();
    return {
        {"report_type", "velomar"},
        {"access_customer", customer},
        {"user_hostname", QSysInfo::machineHostName()},
        {"user_os_version", os},
        {"user_device_model", QString()},
        {"user_device_mac", mac},
        {"user_device_time",
         QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"))},
        {"user_app_version", version},
    };
}

QString RecordInfo::formBody(const QVector<Field> &fields)
{
    QString body;
    for (int i = 0; i < fields.size(); ++i) {
        const bool last = i == fields.size() - 1;
        body +=
            QString::fromLatin1(last ? "%1=%2" : "%1=%2&").arg(fields[i].first, fields[i].second);
    }
    return body;
}

void RecordInfo::RecordUserInfoToServer()
{
    if (host.isEmpty()) {
        qDebug() << "no usage-report host, record not sent";
        return;
    }
    // One helper, one request: it deletes itself once answered.
    if (sent || !http) {
        qDebug() << "usage record already sent";
        return;
    }
    const QString body = formBody(recordFields(getCustomer(), getHostMacAddress(), getVersion()));
    sent = true;
    http->sendPostRequest("https://" + host + "/cardv/access/record.php", body);
}
