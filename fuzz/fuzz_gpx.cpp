// The GPX converter on arbitrary text, then the reader on what it wrote.
#include "fuzzutil.h"
#include "videoinfoparse.h"
#include "xmlgpsparse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    const QString out = scratchPath("gpx.map");
    const QString xml =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    if (XmlGpsParse::genGpsInfoFile(xml, out))
        __builtin_trap(); // always false by contract
    static VideoInfoParse store;
    store.resetVideoInfo();
    store.parseGpsInfoFile(out);
    return 0;
}
