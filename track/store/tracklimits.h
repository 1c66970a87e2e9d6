#pragma once

// What a track file may cost. Real tracks are far below each bound; files
// above them are refused, with a log line, before they can exhaust memory.

#include <QString>
#include <QtGlobal>

namespace tracklimits {

// No camera writes track files near this size: 55 hours of NMEA are 15 MB.
constexpr qint64 maxFileBytes = qint64(256) * 1024 * 1024;

// One sample a second: 55 hours, more than any camera's card holds.
constexpr int maxSamples = 200000;

// A track line is under 200 characters. Longer lines are read only this far;
// a block of subtitle text is bounded the same way.
constexpr int maxLineChars = 1 << 20;

// False, with a log line naming the reader, for a file over maxFileBytes.
// A file that cannot be read passes: its reader says so itself.
bool fileSizeAcceptable(const QString &path, const char *reader);

// The log line for a track refused for having too many samples.
void refuseTooManySamples(const QString &path, const char *reader);

} // namespace tracklimits
