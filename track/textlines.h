#pragma once

#include <QString>
#include <QStringRef>
#include <QVector>

// A UTF-8 text file read whole, as its non-empty lines. Line ends and every
// '\r' are dropped, invalid bytes read as U+FFFD and a byte-order mark picks
// the encoding, as a text-mode QTextStream reads it; one decode and no copy
// per line keeps a day-long track quick.
class TextLines
{
public:
    // False when the file cannot be opened.
    bool read(const QString &path);
    const QVector<QStringRef> &lines() const { return lineRefs; }

private:
    QString text;
    QVector<QStringRef> lineRefs;
};
