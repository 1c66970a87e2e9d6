#include "maplink.h"

#include <QLocale>
#include <QRandomGenerator>
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
    return !token.isEmpty() && QUrlQuery(requestUrl).queryItemValue("token") == token;
}

} // namespace maplink
