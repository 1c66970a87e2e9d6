#include "browserpage.h"

#include "maplink.h"

#include <QDebug>
#include <QDir>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>

BrowserPage::BrowserPage() = default;
BrowserPage::~BrowserPage() = default;

QByteArray BrowserPage::html(const QUrl &target)
{
    // Percent-encoded, the URL holds no quote, backslash or angle bracket:
    // it stands as it is in a script string, and with its "&" escaped in an
    // attribute.
    const QString url = QString::fromLatin1(target.toEncoded());
    return QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                          "<title>Velomar map</title>\n"
                          "<meta http-equiv=\"refresh\" content=\"0; url=%1\">\n"
                          "<script>location.replace(\"%2\");</script>\n</head>\n"
                          "<body><p><a href=\"%1\">Open the Velomar map</a></p></body>\n</html>\n")
        .arg(url.toHtmlEscaped(), url)
        .toUtf8();
}

bool BrowserPage::create(const QString &mapPagePath, const QString &token)
{
    // The runtime folder is the user's own and emptied at logout; the
    // cache folder serves where there is none.
    for (const QStandardPaths::StandardLocation where :
         {QStandardPaths::RuntimeLocation, QStandardPaths::CacheLocation}) {
        const QString base = QStandardPaths::writableLocation(where);
        if (base.isEmpty() || !QDir().mkpath(base))
            continue;
        auto candidate = std::make_unique<QTemporaryDir>(base + "/velomar-map-XXXXXX"); // mode 0700
        if (candidate->isValid()) {
            dir = std::move(candidate);
            break;
        }
    }
    if (!dir) {
        qWarning() << "browser map: no private folder for its page";
        return false;
    }
    QSaveFile file(path());
    file.open(QIODevice::WriteOnly);
    file.write(html(maplink::browserPageUrl(mapPagePath, token)));
    if (!file.commit()) {
        qWarning().noquote() << "browser map: cannot write" << path() << file.errorString();
        return false;
    }
    return true;
}

QString BrowserPage::path() const
{
    return dir ? dir->filePath("map.html") : QString();
}
