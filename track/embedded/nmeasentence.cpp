#include "nmeasentence.h"

#include "fields.h"
#include "videoinfoparse.h"

#include <QDate>
#include <QDateTime>
#include <QRegularExpression>

namespace embedded::nmea {

namespace {

bool checksumPasses(const QString &sentence, Checksum checksum)
{
    if (checksum == Checksum::Ignored)
        return true;
    const int star = sentence.lastIndexOf(QLatin1Char('*'));
    if (star < 0)
        return checksum == Checksum::IfPresent;
    QByteArray line = sentence.trimmed().toLatin1();
    if (!line.startsWith('$'))
        line.prepend('$');
    return VideoInfoParse::checkNmeaSum(line.constData()) == 1;
}

bool talkerIs(const QStringRef &field, const char *type)
{
    // "$GPRMC", "GNRMC", "$GLRMC": the last three letters name the sentence.
    return field.size() >= 5 && field.size() <= 6 && field.right(3) == QLatin1String(type);
}

double degrees(const QStringRef &ddmm, const QStringRef &hemisphere, bool &ok)
{
    bool number = false;
    const double value = ddmm.toDouble(&number);
    const bool negative = hemisphere == QLatin1String("S") || hemisphere == QLatin1String("W");
    ok = number &&
         (negative || hemisphere == QLatin1String("N") || hemisphere == QLatin1String("E"));
    const double d = VideoInfoParse::DDTran(value);
    return negative ? -d : d;
}

} // namespace

bool readRmc(const QString &sentence, Fix &fix, Checksum checksum)
{
    const QString body = sentence.trimmed();
    const int star = body.lastIndexOf(QLatin1Char('*'));
    const QStringRef data = body.leftRef(star < 0 ? body.size() : star);
    Fields f;
    splitFields(data, f, 14);
    if (f.size() < 10 || !talkerIs(f[0], "RMC") || !checksumPasses(body, checksum))
        return false;
    bool latOk = false, lonOk = false;
    fix.latitude = degrees(f[3], f[4], latOk);
    fix.longitude = degrees(f[5], f[6], lonOk);
    fix.speedKmh = toDouble(f[7]) * kmhPerKnot;
    bool courseOk = false;
    const double course = f[8].toDouble(&courseOk);
    if (courseOk)
        fix.course = course;
    fix.valid = f[2] == QLatin1String("A") && latOk && lonOk;

    const QStringRef t = f[1];
    const QStringRef d = f[9];
    if (t.size() >= 6 && d.size() == 6) {
        const QDate date(2000 + d.mid(4, 2).toInt(), d.mid(2, 2).toInt(), d.left(2).toInt());
        const QTime time(t.left(2).toInt(), t.mid(2, 2).toInt(), t.mid(4, 2).toInt());
        if (date.isValid() && time.isValid()) {
            double fraction = t.size() > 7 ? t.mid(6).toDouble() : 0.0; // ".sss"
            if (!(fraction >= 0.0 && fraction < 1.0))
                fraction = 0.0; // ".5e40": the cast below would be undefined
            fix.clockMs =
                QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch() + qint64(fraction * 1000);
        }
    }
    return true;
}

bool readGga(const QString &sentence, Fix &fix, Checksum checksum)
{
    const QString body = sentence.trimmed();
    const int star = body.lastIndexOf(QLatin1Char('*'));
    Fields f;
    splitFields(body.leftRef(star < 0 ? body.size() : star), f, 16);
    if (f.size() < 10 || !talkerIs(f[0], "GGA") || !checksumPasses(body, checksum))
        return false;
    bool ok = false;
    const double altitude = f[9].toDouble(&ok);
    if (ok && f[6] != QLatin1String("0"))
        fix.altitude = altitude;
    return true;
}

QStringList sentences(const QString &text)
{
    static const QRegularExpression cut(QStringLiteral("[;\\r\\n\\x0]+|(?=\\$)"));
    QStringList out;
    for (const QString &part : text.split(cut))
        if (!part.trimmed().isEmpty())
            out.append(part.trimmed());
    return out;
}

} // namespace embedded::nmea
