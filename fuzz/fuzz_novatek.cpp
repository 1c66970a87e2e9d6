// One Novatek freeGPS block on arbitrary bytes.
#include "embedded/novatekreader.h"
#include "fuzzutil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    const QByteArray block(reinterpret_cast<const char *>(data), int(size));
    embedded::Fix fix;
    embedded::NovatekReader::decode(block, fix);
    return 0;
}
