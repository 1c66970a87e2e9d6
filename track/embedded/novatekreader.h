#pragma once

// Novatek "freeGPS" blocks, one a second in the media data (Viofo, Vantrue,
// Kenwood, Transcend, Nextbase 512G and most unbranded dash cams), found
// through the moov/gps index or, without one, by a bounded scan.

#include "telemetry.h"

#include <QByteArray>

namespace embedded {

class NovatekReader : public LayoutReader
{
public:
    const char *source() const override { return "novatek"; }
    const char *description() const override;
    Outcome read(Container &file, Telemetry &out) override;

    enum class Block
    {
        Fix,
        Encrypted,
        Unknown
    };
    // Decodes one block (its first bytes, header included) read at `offset`.
    static Block decode(const QByteArray &block, Fix &fix);

    // How far the scan looks for a first block, and the largest stretch of
    // media data it crosses without finding another.
    static constexpr qint64 scanWindow = 20 * 1024 * 1024;
    // The bytes of a block that any record layout uses.
    static constexpr int recordBytes = 1024;
};

} // namespace embedded
