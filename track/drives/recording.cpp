#include "recording.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

namespace trip {

namespace {

const QString normal = QStringLiteral("normal");
const QString event = QStringLiteral("event");
const QString manual = QStringLiteral("manual");
const QString parking = QStringLiteral("parking");

QString channelOfFolder(const QString &folder)
{
    const QString f = folder.toLower();
    if (f == QLatin1String("front"))
        return QStringLiteral("front");
    if (f == QLatin1String("back") || f == QLatin1String("rear"))
        return QStringLiteral("rear");
    if (f == QLatin1String("inside") || f == QLatin1String("interior") ||
        f == QLatin1String("cabin"))
        return QStringLiteral("interior");
    return QString();
}

QString kindOfFolder(const QString &folder)
{
    const QString f = folder.toLower();
    static const QStringList events = {"ro",  "event",  "events",    "evt_rec",  "evt",
                                       "emr", "locked", "protected", "emergency"};
    static const QStringList manuals = {"manual_rec", "manual", "savedclips"};
    static const QStringList parkings = {"parking_rec", "parking", "park", "sentryclips",
                                         "motion_timelapse_rec"};
    if (events.contains(f))
        return event;
    if (manuals.contains(f))
        return manual;
    if (parkings.contains(f))
        return parking;
    return QString();
}

QString channelOfLetter(QChar c)
{
    switch (c.toUpper().unicode()) {
    case 'F':
    case 'A':
        return QStringLiteral("front");
    case 'R':
    case 'B':
        return QStringLiteral("rear");
    case 'I':
        return QStringLiteral("interior");
    case 'T':
        return QStringLiteral("telephoto");
    }
    return QString();
}

} // namespace

int channelRank(const QString &channel)
{
    static const QStringList order = {"front",     "rear",      "interior",
                                      "telephoto", "side-left", "side-right"};
    const int i = order.indexOf(channel);
    return i < 0 ? order.size() : i;
}

Recording recordingOf(const QString &path)
{
    const QFileInfo info(path);
    const QString stem = info.completeBaseName();
    QStringList folders = QDir::fromNativeSeparators(info.path()).split('/');

    Recording r;
    QString rest; // the name without its channel mark
    QString kindMark;

    // The mark always follows the digits of the recording time, so that a
    // name like "HOLIDAY_F" is never taken for a channel.
    static const QRegularExpression tesla(
        QStringLiteral("^(.*\\d)-(front|back|left_repeater|right_repeater)$"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression blackvue(QStringLiteral("^(.*\\d)_([NEPM])([FRI])$"));
    static const QRegularExpression letter(QStringLiteral("^(.*\\d)(_?)(P?)([FRITAB])$"),
                                           QRegularExpression::CaseInsensitiveOption);
    QRegularExpressionMatch m;
    if ((m = tesla.match(stem)).hasMatch()) {
        rest = m.captured(1);
        const QString side = m.captured(2).toLower();
        r.channel = side == QLatin1String("front")  ? QStringLiteral("front")
                    : side == QLatin1String("back") ? QStringLiteral("rear")
                    : side.startsWith('l')          ? QStringLiteral("side-left")
                                                    : QStringLiteral("side-right");
    } else if ((m = blackvue.match(stem)).hasMatch()) {
        rest = m.captured(1) + '_' + m.captured(2);
        r.channel = channelOfLetter(m.captured(3).at(0));
        const QChar k = m.captured(2).at(0);
        kindMark = k == 'E' ? event : k == 'P' ? parking : k == 'M' ? manual : normal;
    } else if ((m = letter.match(stem)).hasMatch()) {
        rest = m.captured(1) + m.captured(2);
        r.channel = channelOfLetter(m.captured(4).at(0));
        if (!m.captured(3).isEmpty())
            kindMark = parking;
    }

    // 70mai's prefixes: NO normal, EV event, PA parking, LA time-lapse
    // (recorded while parked).
    const QString prefix = stem.left(2).toUpper();
    if (kindMark.isEmpty() && stem.size() > 2 && stem.at(2).isDigit()) {
        if (prefix == QLatin1String("EV"))
            kindMark = event;
        else if (prefix == QLatin1String("PA") || prefix == QLatin1String("LA"))
            kindMark = parking;
        else if (prefix == QLatin1String("NO"))
            kindMark = normal;
    }

    // Folders: the channel where the name does not say it, the kind where
    // the name does not; channel folders are set aside in the moment.
    QString folderKind;
    for (QString &f : folders) {
        const QString channel = channelOfFolder(f);
        if (!channel.isEmpty()) {
            if (r.channel.isEmpty()) {
                r.channel = channel;
                rest = stem;
            }
            f = QStringLiteral("*");
            continue;
        }
        const QString kind = kindOfFolder(f);
        if (!kind.isEmpty())
            folderKind = kind;
    }
    r.kind = !kindMark.isEmpty() ? kindMark : !folderKind.isEmpty() ? folderKind : normal;
    if (!r.channel.isEmpty())
        r.moment = folders.join('/') + '/' + rest.toLower() + '#' + r.kind;
    return r;
}

} // namespace trip
