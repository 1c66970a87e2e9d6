#pragma once

// The script commands that drive the map pages, and who may receive them
// over the local WebSocket.

#include <QString>
#include <QUrl>

namespace maplink {

// The largest message a map client may send (64 KiB): a larger one closes it.
constexpr quint64 maxClientMessageBytes = 64 * 1024;

// The close code that tells a map page a newer one took its place: it stops
// reconnecting, so that two pages do not take turns.
constexpr int replacedCloseCode = 4000;

// "name(lat, lon);" with each number as QString::number(v, 'g', 10); empty
// when a number is not finite, since "nan" or "inf" would break the page.
QString pointCommand(const char *name, double latitude, double longitude);

// The view every stop returns to: "mapinitialize(22, 115.6786234);".
QString defaultView();

// A fresh random token, made once per run; a browser page proves with it
// that the program itself opened it.
QString newToken();

// The page in the user's browser: the local file with the token in its query.
QUrl browserPageUrl(const QString &pagePath, const QString &token);

// Any web site open in the browser can reach 127.0.0.1, so a client that
// sends an Origin must be the page the program opened: never an http(s)
// origin, and any other ("null", "file://") only with the run's token in
// the query of its request URL. Clients without an Origin are local
// programs, not pages, and may connect.
bool clientAllowed(const QString &origin, const QUrl &requestUrl, const QString &token);

} // namespace maplink
