// The records of a 70mai GPS box on arbitrary bytes.
#include "embedded/simplereaders.h"
#include "fuzzutil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    const QByteArray records(reinterpret_cast<const char *>(data), int(size));
    QVector<embedded::Fix> fixes;
    embedded::SeventyMaiReader::decode(records, fixes);
    if (fixes.size() > int(size) / 36)
        __builtin_trap(); // one fix a 36-byte record
    embedded::rejectImpossible(fixes);
    return 0;
}
