#include "stretch.h"

#include <QRegularExpression>
#include <cmath>

namespace videoexport {

double Stretch::seconds() const
{
    double s = 0.0;
    for (const Piece &p : pieces)
        s += p.to - p.from;
    return s;
}

double clipAt(const trip::Drive &drive, int clip)
{
    return drive.clips.first().start.msecsTo(drive.clips[clip].start) / 1000.0;
}

double driveSeconds(const trip::Drive &drive)
{
    double end = 0.0;
    for (int i = 0; i < drive.clips.size(); ++i)
        end = std::max(end, clipAt(drive, i) + drive.clips[i].seconds);
    return end;
}

QString clockText(double seconds)
{
    const qint64 s = qint64(std::floor(std::max(0.0, seconds)));
    return QStringLiteral("%1:%2:%3")
        .arg(s / 3600, 2, 10, QLatin1Char('0'))
        .arg(s / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(s % 60, 2, 10, QLatin1Char('0'));
}

bool stretchOf(const trip::Drive &drive, double from, double to, Stretch &out, QString *error)
{
    out = Stretch();
    if (drive.clips.isEmpty()) {
        *error = QStringLiteral("the drive holds no clip");
        return false;
    }
    const double end = driveSeconds(drive);
    if (!(to > from)) {
        *error = QStringLiteral("the stretch ends (%1) before it begins (%2)")
                     .arg(clockText(to), clockText(from));
        return false;
    }
    if (from < 0.0 || to > end + 0.5) {
        *error = QStringLiteral("the stretch %1-%2 lies outside the drive (00:00:00-%3)")
                     .arg(clockText(from), clockText(to), clockText(end));
        return false;
    }
    out.from = from;
    out.to = std::min(to, end);
    for (int i = 0; i < drive.clips.size(); ++i) {
        const double at = clipAt(drive, i);
        const trip::Clip &c = drive.clips[i];
        if (c.seconds <= 0) {
            if (at >= from && at < out.to)
                out.unreadable.append(c.path);
            continue;
        }
        const double a = std::max(from - at, 0.0);
        const double b = std::min(out.to - at, double(c.seconds));
        if (b - a < 0.001)
            continue;
        out.pieces.append(Piece{c, a, b, at});
    }
    if (out.pieces.isEmpty()) {
        *error = QStringLiteral("the stretch %1-%2 falls between the drive's clips")
                     .arg(clockText(from), clockText(to));
        return false;
    }
    return true;
}

bool parseTime(const QString &text, double *seconds, QDateTime *dateTime, QString *error)
{
    *dateTime = QDateTime();
    bool ok = false;
    const double s = text.toDouble(&ok);
    if (ok && std::isfinite(s) && s >= 0.0) {
        *seconds = s;
        return true;
    }
    // The camera's clock, kept as UTC for arithmetic as the drives keep it.
    static const QRegularExpression form(
        QStringLiteral("^\\d{4}-\\d{2}-\\d{2}[T ]\\d{2}:\\d{2}:\\d{2}$"));
    if (form.match(text).hasMatch()) {
        QDateTime t = QDateTime::fromString(QString(text).replace(' ', 'T'), Qt::ISODate);
        if (t.isValid()) {
            t.setTimeSpec(Qt::UTC);
            *dateTime = t;
            return true;
        }
    }
    *error = QStringLiteral("\"%1\" is neither seconds into the drive nor a date and time "
                            "like 2024-05-14T14:03:10")
                 .arg(text);
    return false;
}

} // namespace videoexport
