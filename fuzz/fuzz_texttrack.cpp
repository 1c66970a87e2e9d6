// One text or subtitle track sample on arbitrary bytes, as each reader of
// such tracks takes it: NMEA text and Nextbase binary, DJI text, Garmin PNDM.
#include "embedded/simplereaders.h"
#include "embedded/texttrackreader.h"
#include "fuzzutil.h"

#include <cmath>

using embedded::TextTrackReader;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    const QByteArray sample(reinterpret_cast<const char *>(data), int(size));
    const TextTrackReader::Kind kind = TextTrackReader::classify(sample);
    // Every kind, as a track classified by its first sample reads the later
    // ones.
    for (TextTrackReader::Kind k :
         {kind, TextTrackReader::Kind::Nmea, TextTrackReader::Kind::Nextbase}) {
        embedded::Fix fix;
        TextTrackReader::decode(sample, k, fix);
    }
    embedded::Fix dji;
    embedded::DjiReader::decodeText(QString::fromUtf8(embedded::sampleText(sample)), dji);
    embedded::Fix djiLatin;
    embedded::DjiReader::decodeText(QString::fromLatin1(sample), djiLatin);
    embedded::Fix garmin;
    if (embedded::GarminReader::decode(sample, garmin) &&
        !(std::abs(garmin.latitude) <= 180.0 && std::abs(garmin.longitude) <= 180.0))
        __builtin_trap(); // semicircles are never more than 180 degrees
    return 0;
}
