#include "maplink.h"

#include <QLocale>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QUrlQuery>
#include <cmath>

namespace maplink {

QString pointCommand(const char *name, double latitude, double longitude)
{
    if (!std::isfinite(latitude) || !std::isfinite(longitude))
        return QString();
    return QStringLiteral("%1(%2, %3);")
        .arg(QLatin1String(name), QString::number(latitude, 'g', 10),
             QString::number(longitude, 'g', 10));
}

QString defaultView()
{
    // Shortest round-trip form: Qt 5's default 'g' would cut 115.6786234 to
    // six digits.
    auto shortest = [](double v) {
        return QString::number(v, 'g', QLocale::FloatingPointShortest);
    };
    return QStringLiteral("mapinitialize(%1, %2);").arg(shortest(22.0), shortest(115.6786234));
}

QString newToken()
{
    quint32 words[4];
    QRandomGenerator::system()->fillRange(words);
    QString token;
    for (quint32 w : words)
        token += QStringLiteral("%1").arg(w, 8, 16, QLatin1Char('0'));
    return token;
}

QUrl browserPageUrl(const QString &pagePath, const QString &token)
{
    QUrl url = QUrl::fromLocalFile(pagePath);
    QUrlQuery query;
    query.addQueryItem("token", token);
    url.setQuery(query);
    return url;
}

bool clientAllowed(const QString &origin, const QUrl &requestUrl, const QString &token)
{
    if (origin.isEmpty())
        return true;
    if (origin.startsWith("http://", Qt::CaseInsensitive) ||
        origin.startsWith("https://", Qt::CaseInsensitive))
        return false;
    return clientHasToken(requestUrl, token);
}

bool clientHasToken(const QUrl &requestUrl, const QString &token)
{
    return !token.isEmpty() && QUrlQuery(requestUrl).queryItemValue("token") == token;
}

QString driveCommand(int clips, int current)
{
    return QStringLiteral("setDrive(%1, %2);").arg(clips).arg(current);
}

namespace {

// "[[lat,lon],...]" without spaces; points out of range left out and counted.
QString routeArray(const QVector<QPointF> &route, int *skipped)
{
    QString text = QStringLiteral("[");
    text.reserve(route.size() * 26 + 2);
    bool first = true;
    for (const QPointF &p : route) {
        if (!std::isfinite(p.x()) || !std::isfinite(p.y()) || std::abs(p.x()) > 90 ||
            std::abs(p.y()) > 180) {
            if (skipped)
                ++*skipped;
            continue;
        }
        if (!first)
            text += QLatin1Char(',');
        first = false;
        text += QLatin1Char('[') + QString::number(p.x(), 'g', 10) + QLatin1Char(',') +
                QString::number(p.y(), 'g', 10) + QLatin1Char(']');
    }
    text += QLatin1Char(']');
    return text;
}

} // namespace

QString driveRouteCommand(int index, const QVector<QPointF> &route, int *skipped)
{
    return QStringLiteral("setDriveRoute(%1, %2);").arg(index).arg(routeArray(route, skipped));
}

QString markedRouteCommand(const QVector<QPointF> &route)
{
    return QStringLiteral("setMarkedRoute(%1);").arg(routeArray(route, nullptr));
}

QString driveCurrentCommand(int current)
{
    return QStringLiteral("setDriveCurrent(%1);").arg(current);
}

bool parseClick(const QString &message, double *latitude, double *longitude)
{
    // The page writes 30 characters at most.
    if (message.size() > 64)
        return false;
    static const QRegularExpression form(QRegularExpression::anchoredPattern(
        QStringLiteral("click (-?(?:0|[1-9][0-9]{0,2})(?:\\.[0-9]{1,12})?) "
                       "(-?(?:0|[1-9][0-9]{0,2})(?:\\.[0-9]{1,12})?)")));
    const QRegularExpressionMatch m = form.match(message);
    if (!m.hasMatch())
        return false;
    bool latOk = false, lonOk = false;
    const double lat = m.captured(1).toDouble(&latOk), lon = m.captured(2).toDouble(&lonOk);
    if (!latOk || !lonOk || !std::isfinite(lat) || !std::isfinite(lon) || std::abs(lat) > 90 ||
        std::abs(lon) > 180)
        return false;
    *latitude = lat;
    *longitude = lon;
    return true;
}

} // namespace maplink
