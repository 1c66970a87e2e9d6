// The subtitle converter on arbitrary bytes, then the reader on its output.
#include "fuzzutil.h"
#include "srtparse.h"
#include "videoinfoparse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    const QString srt = writeScratch("track.srt", data, size);
    const QString out = scratchPath("srt.map");
    if (!SrtParse::parseFile(srt, out) || QFile::exists(srt))
        __builtin_trap(); // a readable ".srt" is always converted and removed
    static VideoInfoParse store;
    store.resetVideoInfo();
    store.parseGpsInfoFile(out);
    return 0;
}
