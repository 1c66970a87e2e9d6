#pragma once

// The script commands that drive the map pages, who may receive them over
// the local WebSocket, and what a page may say back.

#include <QPointF>
#include <QString>
#include <QUrl>
#include <QVector>

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

// The run's token is in the query of the request URL (never with an empty
// token): only such a client may send the player clicks.
bool clientHasToken(const QUrl &requestUrl, const QString &token);

// The most clips a drive on the map may have; the pages refuse more.
constexpr int maxDriveClips = 10000;

// "setDrive(clips, current);": a new drive of `clips` clips, of which
// `current` plays (-1: none). "setDrive(0, -1);" takes the drive off the map.
QString driveCommand(int clips, int current);

// "setDriveRoute(index, [[lat,lon],...]);": clip `index`'s route, x the
// latitude and y the longitude, each number as QString::number(v, 'g', 10),
// no spaces. Points not finite or out of range are left out and counted in
// `skipped`.
QString driveRouteCommand(int index, const QVector<QPointF> &route, int *skipped = nullptr);

// "setMarkedRoute([[lat,lon],...]);": the stretch marked for export, as
// setDriveRoute writes a route; an empty one takes the mark off.
QString markedRouteCommand(const QVector<QPointF> &route);

// "setDriveCurrent(current);": another clip of the same drive plays.
QString driveCurrentCommand(int current);

// A click on a page's route, as the page sends it: exactly
// "click <latitude> <longitude>", decimal numbers without exponent, latitude
// within ±90 and longitude within ±180. False for anything else.
bool parseClick(const QString &message, double *latitude, double *longitude);

} // namespace maplink
