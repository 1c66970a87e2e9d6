#pragma once

// The bytes each layout adds to a clip, kept apart from the container
// rewrite that places them (embedgen.cpp).

#include "embedgen.h"

#include <QByteArray>
#include <QVector>

namespace embedgen {
namespace detail {

// A box with a 32-bit size, or with size field 1 and a 64-bit size.
QByteArray box(const char *type, const QByteArray &payload, bool large = false);
QByteArray fullBox(const char *type, quint8 version, quint32 flags, const QByteArray &payload);

void putBe16(QByteArray &b, quint16 v);
void putBe32(QByteArray &b, quint32 v);
void putBe64(QByteArray &b, quint64 v);

// What a layout adds, before it is placed in a file.
struct Plan
{
    enum Kind
    {
        NoData,
        Blocks,
        Track
    };
    struct Item
    {
        int second;
        QByteArray bytes;
    };
    Kind kind = NoData;
    QVector<Item> items; // one per written second, in order; inside the media data
    bool index = false;  // Blocks: a moov/"gps " index of them

    // Track: the new trak's names and its one sample entry.
    QByteArray handler;
    QByteArray handlerName;
    QByteArray sampleEntry;

    QByteArray before;     // top-level boxes right after ftyp
    QByteArray beforeMoov; // top-level boxes right in front of moov

    QString sideSuffix; // a file written beside the video (".SRT")
    QByteArray sideText;
};

bool makePlan(const QVector<trackgen::Fix> &fixes, const Options &options, Plan *plan,
              QString *error);

} // namespace detail
} // namespace embedgen
