#pragma once

#include <QString>
#include <string>

// Text forms shared by the dump and the exporters.
namespace out {

// Shortest text that reads back to the same double; "null" when not finite,
// since JSON has no NaN or infinity.
std::string number(double value);
// JSON string literal, quotes included.
std::string jsonString(const QString &text);
// XML character data with the five special characters escaped.
std::string xmlText(const QString &text);

} // namespace out
