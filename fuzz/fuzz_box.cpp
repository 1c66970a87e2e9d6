// The MP4/MOV container walk, every track's sample table and every layout
// reader on arbitrary bytes, then the fixes placed a second apart.
#include "embedded/container.h"
#include "embedded/telemetry.h"
#include "fuzzutil.h"
#include "videoinfoparse.h"

#include <cstdlib>

namespace {

// In memory where the machine has it: a file is written every run.
QString boxPath()
{
    const QString shm = QStringLiteral("/dev/shm");
    const QString dir = QDir(shm).exists() ? shm : QDir::tempPath();
    return dir + QStringLiteral("/velomar-fuzz-%1-box.MP4").arg(getpid());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = (silenceQtLog(), true);
    (void)once;
    static const QString path = boxPath();
    static const int removeAtExit = std::atexit([] { QFile::remove(path); });
    (void)removeAtExit;
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            __builtin_trap();
        f.write(reinterpret_cast<const char *>(data), qint64(size));
    }

    embedded::Container file;
    if (file.open(path)) {
        QVector<embedded::Sample> samples;
        for (const embedded::TrackInfo &t : qAsConst(file.tracks))
            if (file.samples(t, samples))
                for (const embedded::Sample &s : qAsConst(samples))
                    if (s.offset < 0 || s.offset + s.size > file.io.fileSize())
                        __builtin_trap(); // every sample lies within the file
    }

    embedded::Telemetry telemetry;
    const embedded::Outcome o = embedded::readVideo(path, telemetry);
    if (o == embedded::Outcome::Refused && telemetry.error.isEmpty())
        __builtin_trap(); // a refusal always says why
    if (o == embedded::Outcome::Read) {
        VideoInfoParse store; // fillStore expects an empty one
        if (embedded::fillStore(telemetry, store) == 0 &&
            (store.count < 2 || store.videoInfoMap.size() < store.count))
            __builtin_trap();
    }
    return 0;
}
