#pragma once

// libavformat writes no `camm` sample entry. The track is written as the
// nearest layout it knows (a `gpmd` metadata track: handler `meta`, a sample
// entry with no fields of its own) and then renamed in place: the entry's
// type becomes `camm` and the handler's name says what the track holds.
// Sizes do not change, so no offset in the file moves.

#include <QString>

namespace videoexport {

// False, with a one-line reason, when the file holds no such track or
// cannot be written.
bool markCammTrack(const QString &path, QString *error);

} // namespace videoexport
