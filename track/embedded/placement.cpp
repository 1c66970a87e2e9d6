// From fixes on the video's timeline to the store's one sample a second.

#include "telemetry.h"

#include "trackaccumulator.h"
#include "tracklimits.h"
#include "videoinfoparse.h"

#include <QDateTime>
#include <QDebug>
#include <algorithm>

namespace embedded {

namespace {

constexpr double maxKmh = 300.0;
// A run of this many fixes that agree with each other, after a jump, is the
// vehicle's true place: the fix before the jump was the wrong one.
constexpr int agreeingRun = 5;

double metres(const Fix &a, const Fix &b)
{
    return metresBetween(a.latitude, a.longitude, b.latitude, b.longitude);
}

bool reachable(const Fix &from, const Fix &to)
{
    // Fixes a few hundredths of a second apart still leave room for noise.
    const double seconds = std::max(std::abs(to.at - from.at), 0.1);
    return metres(from, to) / seconds * 3.6 <= maxKmh;
}

bool inRange(const Fix &f)
{
    return std::isfinite(f.latitude) && std::isfinite(f.longitude) && std::isfinite(f.speedKmh) &&
           std::abs(f.latitude) <= 90.0 && std::abs(f.longitude) <= 180.0 &&
           !(f.latitude == 0.0 && f.longitude == 0.0) && f.speedKmh >= 0.0 && std::isfinite(f.at);
}

QString clockDate(qint64 ms)
{
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC).toString(QStringLiteral("yyyy:MM:dd"));
}

QString clockTime(qint64 ms)
{
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC).toString(QStringLiteral("hh:mm:ss"));
}

} // namespace

double metresBetween(double lat1, double lon1, double lat2, double lon2)
{
    constexpr double rad = M_PI / 180.0;
    const double dLat = (lat2 - lat1) * rad;
    const double dLon = (lon2 - lon1) * rad;
    const double h =
        std::sin(dLat / 2) * std::sin(dLat / 2) +
        std::cos(lat1 * rad) * std::cos(lat2 * rad) * std::sin(dLon / 2) * std::sin(dLon / 2);
    return 6371008.8 * 2 * std::asin(std::sqrt(std::min(1.0, h)));
}

void rejectImpossible(QVector<Fix> &fixes)
{
    QVector<int> valid;
    for (int i = 0; i < fixes.size(); ++i) {
        if (fixes[i].valid && !inRange(fixes[i]))
            fixes[i].valid = false;
        if (fixes[i].valid)
            valid.append(i);
    }
    if (valid.size() < 2)
        return;

    int anchor = valid[0];
    // The fixes still valid, in order: the walk back below passes only these,
    // not every fix made invalid before (which made jumps cost n squared).
    QVector<int> kept{anchor};
    QVector<int> run; // rejected fixes that agree with each other
    for (int v = 1; v < valid.size(); ++v) {
        Fix &f = fixes[valid[v]];
        if (reachable(fixes[anchor], f)) {
            anchor = valid[v];
            kept.append(anchor);
            run.clear();
            continue;
        }
        if (!run.isEmpty() && !reachable(fixes[run.last()], f))
            run.clear();
        run.append(valid[v]);
        f.valid = false;
        if (run.size() == agreeingRun) {
            // The fixes before the jump were the wrong ones: a cold start's
            // stale place, or a reflection. Back to the last fix the run
            // can be reached from.
            while (!kept.isEmpty() && !reachable(fixes[kept.last()], fixes[run.first()])) {
                fixes[kept.last()].valid = false;
                kept.removeLast();
            }
            for (int i : qAsConst(run)) {
                fixes[i].valid = true;
                kept.append(i);
            }
            anchor = run.last();
            run.clear();
        }
    }
}

void speedsFromPositions(QVector<Fix> &fixes)
{
    int from = 0;
    for (int i = 1; i < fixes.size(); ++i) {
        Fix &f = fixes[i];
        if (f.speedKmh != 0.0 || !f.valid)
            continue;
        while (from < i - 1 && fixes[from + 1].at <= f.at - 1.0)
            ++from;
        const Fix &p = fixes[from];
        if (!p.valid || f.at - p.at < 0.2)
            continue;
        f.speedKmh = metres(p, f) / (f.at - p.at) * kmhPerMps;
    }
}

int fillStore(Telemetry &telemetry, VideoInfoParse &store)
{
    const qint64 fileCreation = telemetry.fileCreation;
    QVector<Fix> &fixes = telemetry.fixes;
    std::stable_sort(fixes.begin(), fixes.end(),
                     [](const Fix &a, const Fix &b) { return a.at < b.at; });
    rejectImpossible(fixes);

    double last = -1.0;
    for (const Fix &f : qAsConst(fixes))
        if (std::isfinite(f.at) && f.at > last)
            last = f.at;
    if (last < -0.5) {
        qDebug().noquote() << telemetry.source << "track has no fix on the video's timeline";
        return -1;
    }
    if (last + 0.5 >= tracklimits::maxSamples) {
        tracklimits::refuseTooManySamples(telemetry.source, "embedded");
        return -1;
    }
    int count = int(last + 0.5) + 1;
    // Fixes in the last fraction of the video's last second would open a
    // second that the video does not have.
    // (Only a duration below the count is cast: a movie header's can be 2^64.)
    if (telemetry.videoDuration > 0.0 && telemetry.videoDuration < count)
        count = qMin(count, qMax(1, int(std::ceil(telemetry.videoDuration - 0.001))));

    switch (telemetry.clock) {
    case Clock::Utc:
        store.clock = QStringLiteral("utc");
        break;
    case Clock::Local:
        store.clock = QStringLiteral("local");
        break;
    case Clock::None:
        store.clock = fileCreation >= 0 ? QStringLiteral("camera") : QString();
        break;
    }

    TrackAccumulator track(store);
    const QString noDate = QStringLiteral("FFFF:FF:FF");
    int next = 0; // first fix not before k - 0.5
    for (int k = 0; k < count; ++k) {
        while (next < fixes.size() && !(fixes[next].at >= k - 0.5))
            ++next;
        const Fix *best = nullptr;
        for (int i = next; i < fixes.size() && fixes[i].at <= k + 0.5; ++i)
            if (fixes[i].valid && (!best || std::abs(fixes[i].at - k) < std::abs(best->at - k)))
                best = &fixes[i];

        auto *s = new VideoInfo;
        if (best) {
            s->valid = 1;
            s->latitude = std::abs(best->latitude);
            s->isNorth = best->latitude >= 0;
            s->longitude = std::abs(best->longitude);
            s->isEast = best->longitude >= 0;
            s->speed = best->speedKmh;
            s->altitude = best->altitude;
            s->course = best->course;
            std::copy(best->accel, best->accel + 3, s->accel);
            qint64 ms = best->clockMs;
            if (ms < 0 && fileCreation >= 0)
                ms = fileCreation * 1000 + qint64(k) * 1000;
            if (ms >= 0) {
                s->date = clockDate(ms);
                s->time = clockTime(ms);
            } else {
                s->date = noDate;
                s->time = clockTime(qint64(k) * 1000); // time into the video
            }
        }
        if (!track.add(s)) {
            tracklimits::refuseTooManySamples(telemetry.source, "embedded");
            return -1;
        }
    }
    return track.finish();
}

} // namespace embedded
