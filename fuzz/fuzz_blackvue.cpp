// The text of a BlackVue gps box on arbitrary bytes, its fixes then checked
// for jumps.
#include "embedded/simplereaders.h"
#include "fuzzutil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    const QByteArray lines(reinterpret_cast<const char *>(data), int(size));
    QVector<embedded::Fix> fixes;
    embedded::BlackVueReader::decode(lines, fixes);
    embedded::rejectImpossible(fixes);
    return 0;
}
