#include "moments.h"

#include "cameraclock.h"
#include "recording.h"

#include <QFileInfo>
#include <QHash>
#include <algorithm>
#include <cstdlib>

namespace trip {

namespace {

// The other channel's track for a moment whose main channel has none.
void adoptTrack(Clip &main, const Clip &other)
{
    main.source = other.source;
    main.seconds = other.seconds;
    main.distanceKm = other.distanceKm;
    main.maxSpeed = other.maxSpeed;
    main.points = other.points;
    if (other.utc.isValid())
        main.utc = other.utc;
    if (other.startFrom == QLatin1String("track")) {
        if (other.local.isValid())
            main.local = other.local;
        main.startFrom = other.startFrom;
    }
}

// When recording began, before the clips are on one clock.
QDateTime roughStart(const Clip &c)
{
    return c.local.isValid() ? c.local : c.utc;
}

} // namespace

QVector<Clip> readMoments(const QStringList &videos, const QString &settingsDir,
                          const Progress &progress)
{
    // The files of each moment, in the order first met.
    using Group = QVector<QPair<QString, QString>>; // (channel, path)
    QVector<Group> groups;
    QHash<QString, int> byMoment;
    for (const QString &video : videos) {
        const Recording r = recordingOf(video);
        if (r.moment.isEmpty()) {
            groups.append(Group{{QString(), video}});
            continue;
        }
        if (!byMoment.contains(r.moment)) {
            byMoment.insert(r.moment, groups.size());
            groups.append(Group());
        }
        groups[byMoment.value(r.moment)].append({r.channel, video});
    }

    QVector<Clip> clips;
    clips.reserve(groups.size());
    int done = 0;
    const int total = videos.size();
    auto step = [&] { return !progress || progress(++done, total); };
    for (auto &group : groups) {
        std::stable_sort(group.begin(), group.end(), [](const auto &a, const auto &b) {
            return channelRank(a.first) < channelRank(b.first);
        });
        Clip main = readClip(group.first().second, settingsDir);
        main.channels = {{group.first().first, group.first().second}};
        if (!step())
            return clips;
        for (int i = 1; i < group.size(); ++i) {
            // Only a moment whose front has no track reads the others'.
            if (main.source.isEmpty()) {
                const Clip other = readClip(group[i].second, settingsDir);
                if (!other.source.isEmpty())
                    adoptTrack(main, other);
            }
            main.channels.append({group[i].first, group[i].second});
            if (!step())
                return clips;
        }
        clips.append(std::move(main));
    }
    pairByTime(clips);
    for (Clip &c : clips)
        for (Channel &ch : c.channels)
            if (ch.name.isEmpty())
                ch.name = QStringLiteral("front");
    placeOnClock(clips, cameraClock(clips));
    return clips;
}

void pairByTime(QVector<Clip> &clips)
{
    auto unnamed = [](const Clip &c) {
        return c.channels.size() == 1 && c.channels.first().name.isEmpty();
    };
    // The unnamed clips by start: those of one moment lie side by side, so a
    // card of thousands is paired in one pass, not one against every other.
    QVector<int> order;
    QVector<QDateTime> starts(clips.size());
    QVector<QString> folders(clips.size());
    for (int i = 0; i < clips.size(); ++i) {
        starts[i] = roughStart(clips[i]);
        if (unnamed(clips[i]) && starts[i].isValid() && clips[i].seconds > 0) {
            order << i;
            folders[i] = QFileInfo(clips[i].path).path();
        }
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](int x, int y) { return starts[x] < starts[y]; });
    QVector<bool> paired(clips.size(), false); // one moment already holds it
    QVector<bool> taken(clips.size(), false);  // merged into another clip
    for (int k = 0; k < order.size(); ++k) {
        const int i = order[k];
        if (paired[i])
            continue;
        QVector<int> same{i};
        for (int l = k + 1; l < order.size() && starts[i].secsTo(starts[order[l]]) <= 1; ++l) {
            const int j = order[l];
            if (!paired[j] && folders[j] != folders[i] &&
                std::abs(clips[i].seconds - clips[j].seconds) <= 1)
                same.append(j);
        }
        if (same.size() < 2)
            continue;
        // The front: the one with a track, else the first by path.
        std::stable_sort(same.begin(), same.end(), [&](int x, int y) {
            const bool tx = !clips[x].source.isEmpty();
            const bool ty = !clips[y].source.isEmpty();
            return tx != ty ? tx : clips[x].path < clips[y].path;
        });
        // Named in rank order, so the channels stay sorted.
        static const char *const names[] = {"front", "rear", "interior"};
        Clip &main = clips[same.first()];
        main.channels.first().name = names[0];
        paired[same.first()] = true;
        for (int m = 1; m < same.size(); ++m) {
            main.channels.append({names[std::min(m, 2)], clips[same[m]].path});
            paired[same[m]] = taken[same[m]] = true;
        }
    }
    QVector<Clip> kept;
    kept.reserve(clips.size());
    for (int i = 0; i < clips.size(); ++i)
        if (!taken[i])
            kept.append(std::move(clips[i]));
    clips = std::move(kept);
}

} // namespace trip
