// One Google CAMM sample on arbitrary bytes, its fixes then checked for jumps.
#include "embedded/simplereaders.h"
#include "fuzzutil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    const QByteArray sample(reinterpret_cast<const char *>(data), int(size));
    QVector<embedded::Fix> fixes;
    embedded::CammReader::decode(sample, 1.0, fixes);
    if (fixes.size() > int(size) / 28)
        __builtin_trap(); // a fix takes a packet of 28 bytes at least
    embedded::rejectImpossible(fixes);
    return 0;
}
