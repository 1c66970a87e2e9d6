// The track text reader on arbitrary bytes.
#include "fuzzutil.h"
#include "videoinfoparse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    static VideoInfoParse store;
    store.resetVideoInfo();
    const int r = store.parseGpsInfoFile(writeScratch("nmea.TXT", data, size));
    if (r == 0 &&
        (store.isParsed != 1 || store.count < 2 || store.videoInfoMap.size() != store.count))
        __builtin_trap();
    for (int i = 0; i < store.count; ++i)
        if (!store.videoInfoMap.value(i))
            __builtin_trap(); // keys must run 0 .. count - 1
    return 0;
}
