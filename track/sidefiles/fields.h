#pragma once

// Field access for the comma-separated track lines, without a copy or an
// allocation per field: a day of track is 86,400 lines.

#include <QByteArray>
#include <QStringRef>
#include <QVarLengthArray>

using Fields = QVarLengthArray<QStringRef, 24>;

// Splits at every ',', empty fields kept (",," gives an empty field). With a
// limit, the last field holds the rest of the line unsplit: readers that
// look at fields 0..n-2 only need not cut the tail.
void splitFields(const QStringRef &line, Fields &fields, int maxFields = 1 << 30);

// The same value as QString::toDouble() (0 for text that is no number), with
// a fast path for plain decimals, the form every camera writes.
double toDouble(const QStringRef &field);

// "a:b:c", as the dates and times of samples are kept.
QString colonJoined(const QStringRef &a, const QStringRef &b, const QStringRef &c);

// The line's UTF-8 bytes, NUL-terminated, in a buffer that is reused.
const char *utf8Bytes(const QStringRef &line, QByteArray &buffer);
