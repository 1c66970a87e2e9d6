// The NMEA checksum test on arbitrary NUL-terminated bytes.
#include "videoinfoparse.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string line(reinterpret_cast<const char *>(data), size); // adds the terminator
    const int r = VideoInfoParse::checkNmeaSum(line.c_str());
    if (r != 0 && r != 1)
        __builtin_trap();
    return 0;
}
