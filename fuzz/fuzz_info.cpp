// The ".info" reader on arbitrary bytes.
#include "fuzzutil.h"
#include "videoinfoparse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    static VideoInfoParse store;
    store.resetVideoInfo();
    const int r = store.parseMarlGpsInfoFile(writeScratch("track.info", data, size));
    if (r == 0 && (store.isParsed != 1 || store.count < 2))
        __builtin_trap();
    if (store.videoInfoMap.size() != store.count)
        __builtin_trap(); // no line is ever dropped
    return 0;
}
