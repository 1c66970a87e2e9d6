#pragma once

// What a video's name and folders tell of how it was recorded: which camera
// of the recorder (the channel), what kind of recording, and which moment,
// so that the files the cameras of one recorder wrote at the same moment
// can be taken together.

#include <QString>

namespace trip {

struct Recording
{
    // "front", "rear", "interior", "telephoto", "side-left", "side-right";
    // empty when neither name nor folder tells.
    QString channel;
    // "normal", "event" (locked), "manual" or "parking".
    QString kind;
    // Equal for the files of one moment: the folder, with its channel
    // folders (Front/, Back/) set aside, and the name without its channel
    // mark. Empty when the channel is not known.
    QString moment;
};

// By the names cameras write: …F/…R/…I/…T with or without "_", parking
// …PF/…PR; BlackVue's _NF/_ER/_PF/_MR…; 70mai's …F/…B with NO/EV/PA
// prefixes and Front/ Back/ folders; Thinkware's _F/_R under cont_rec/,
// evt_rec/, parking_rec/, manual_rec/; …A/…B of our own track files;
// Tesla's -front/-back/-left_repeater/-right_repeater.
Recording recordingOf(const QString &path);

// Channels in the order they are listed: front first.
int channelRank(const QString &channel);

} // namespace trip
