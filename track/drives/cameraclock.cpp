#include "cameraclock.h"

#include <QMap>
#include <QTimeZone>
#include <cmath>

namespace trip {

namespace {

constexpr int quarterHour = 15 * 60;

// The machine's offset at that moment, read as a UTC time.
int systemOffset(const QDateTime &utc)
{
    return QTimeZone::systemTimeZone().offsetFromUtc(utc);
}

} // namespace

CameraClock cameraClock(const QVector<Clip> &clips)
{
    QMap<int, int> votes; // offset -> clips
    for (const Clip &c : clips) {
        if (!c.utc.isValid() || !c.local.isValid() || c.startFrom == QLatin1String("file"))
            continue;
        const double seconds = double(c.utc.secsTo(c.local));
        const int offset = int(std::lround(seconds / quarterHour)) * quarterHour;
        if (std::abs(offset) <= 14 * 3600)
            ++votes[offset];
    }
    CameraClock clock;
    int best = 0;
    for (auto it = votes.cbegin(); it != votes.cend(); ++it)
        if (it.value() > best) {
            best = it.value();
            clock.offsetSeconds = it.key();
            clock.assumed = false;
        }
    return clock;
}

void placeOnClock(QVector<Clip> &clips, const CameraClock &clock)
{
    for (Clip &c : clips) {
        if (c.local.isValid()) {
            c.start = c.local;
            if (!c.utc.isValid()) {
                const int offset = clock.assumed ? systemOffset(c.local) : clock.offsetSeconds;
                c.utc = c.local.addSecs(-offset);
            }
        } else if (c.utc.isValid()) {
            const int offset = clock.assumed ? systemOffset(c.utc) : clock.offsetSeconds;
            c.start = c.utc.addSecs(offset);
        }
        c.zoneAssumed = clock.assumed;
    }
}

} // namespace trip
