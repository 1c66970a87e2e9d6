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

void sortChannels(Clip &c)
{
    std::stable_sort(c.channels.begin(), c.channels.end(), [](const Channel &a, const Channel &b) {
        return channelRank(a.name) < channelRank(b.name);
    });
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
    QVector<bool> taken(clips.size(), false);
    for (int i = 0; i < clips.size(); ++i) {
        if (taken[i] || !unnamed(clips[i]))
            continue;
        QVector<int> same{i};
        const QString folder = QFileInfo(clips[i].path).path();
        for (int j = i + 1; j < clips.size(); ++j) {
            if (taken[j] || !unnamed(clips[j]) || QFileInfo(clips[j].path).path() == folder)
                continue;
            const QDateTime a = roughStart(clips[i]);
            const QDateTime b = roughStart(clips[j]);
            if (a.isValid() && b.isValid() && std::abs(a.secsTo(b)) <= 1 &&
                std::abs(clips[i].seconds - clips[j].seconds) <= 1 && clips[i].seconds > 0)
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
        static const char *const names[] = {"front", "rear", "interior"};
        Clip &main = clips[same.first()];
        main.channels.first().name = names[0];
        for (int k = 1; k < same.size(); ++k) {
            const int n = std::min<int>(k, 2);
            main.channels.append({names[n], clips[same[k]].path});
            taken[same[k]] = true;
        }
        sortChannels(main);
    }
    QVector<Clip> kept;
    kept.reserve(clips.size());
    for (int i = 0; i < clips.size(); ++i)
        if (!taken[i])
            kept.append(std::move(clips[i]));
    clips = std::move(kept);
}

} // namespace trip
