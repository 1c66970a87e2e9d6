#include "jsonwriter.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace out {

std::string number(double value)
{
    if (!std::isfinite(value))
        return "null";
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string jsonString(const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    std::string s = "\"";
    for (const char c : utf8) {
        switch (c) {
        case '"':
            s += "\\\"";
            break;
        case '\\':
            s += "\\\\";
            break;
        case '\n':
            s += "\\n";
            break;
        case '\r':
            s += "\\r";
            break;
        case '\t':
            s += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                s += escaped;
            } else {
                s += c;
            }
        }
    }
    return s + "\"";
}

std::string xmlText(const QString &text)
{
    std::string s;
    for (const char c : text.toUtf8()) {
        switch (c) {
        case '&':
            s += "&amp;";
            break;
        case '<':
            s += "&lt;";
            break;
        case '>':
            s += "&gt;";
            break;
        case '"':
            s += "&quot;";
            break;
        case '\'':
            s += "&apos;";
            break;
        default:
            // Control characters other than tab and line ends are not
            // allowed in XML 1.0 at all.
            if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r')
                s += c;
        }
    }
    return s;
}

} // namespace out
