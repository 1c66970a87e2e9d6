#include "fields.h"

#include <charconv>

void splitFields(const QStringRef &line, Fields &fields, int maxFields)
{
    fields.clear();
    const QChar *data = line.unicode();
    const int size = line.size();
    int start = 0;
    for (int i = 0; i < size && fields.size() < maxFields - 1; ++i) {
        if (data[i] == QLatin1Char(',')) {
            fields.append(line.mid(start, i - start));
            start = i + 1;
        }
    }
    fields.append(line.mid(start, size - start));
}

double toDouble(const QStringRef &field)
{
    // Plain [-]digits[.digits]: both conversions round correctly, so they
    // agree; anything else (blanks, "+", exponents, "nan") goes the long way.
    const int size = field.size();
    if (size > 0 && size < 32) {
        char ascii[32];
        bool plain = true;
        bool dot = false;
        int digits = 0;
        for (int i = 0; i < size && plain; ++i) {
            const ushort c = field.at(i).unicode();
            if (c >= '0' && c <= '9')
                ++digits;
            else if (c == '.' && !dot)
                dot = true;
            else if (!(c == '-' && i == 0))
                plain = false;
            ascii[i] = static_cast<char>(c);
        }
        double value = 0.0;
        if (plain && digits > 0) {
            const auto result = std::from_chars(ascii, ascii + size, value);
            if (result.ec == std::errc() && result.ptr == ascii + size)
                return value;
        }
    }
    return field.toDouble();
}

QString colonJoined(const QStringRef &a, const QStringRef &b, const QStringRef &c)
{
    QString s;
    s.reserve(a.size() + b.size() + c.size() + 2);
    s += a;
    s += QLatin1Char(':');
    s += b;
    s += QLatin1Char(':');
    s += c;
    return s;
}

const char *utf8Bytes(const QStringRef &line, QByteArray &buffer)
{
    const int size = line.size();
    buffer.resize(size);
    char *out = buffer.data();
    const QChar *in = line.unicode();
    for (int i = 0; i < size; ++i) {
        const ushort c = in[i].unicode();
        if (c >= 0x80) {
            buffer = line.toUtf8();
            return buffer.constData();
        }
        out[i] = static_cast<char>(c);
    }
    return buffer.constData();
}
