// One GoPro GPMF payload on arbitrary bytes, its fixes then checked for jumps.
#include "embedded/gpmfreader.h"
#include "fuzzutil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    const QByteArray payload(reinterpret_cast<const char *>(data), int(size));
    embedded::GpmfReader::looksLikeGpmf(payload);
    QVector<embedded::Fix> fixes;
    QString error;
    if (!embedded::GpmfReader::decode(payload, 10.0, 1.0, fixes, &error) && error.isEmpty())
        __builtin_trap(); // a broken payload says where
    for (const embedded::Fix &f : qAsConst(fixes))
        if (!(f.at >= 10.0 && f.at < 11.0))
            __builtin_trap(); // fixes stay within their sample
    embedded::rejectImpossible(fixes);
    return 0;
}
