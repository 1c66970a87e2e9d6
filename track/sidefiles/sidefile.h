#pragma once

// Files the player writes beside the user's videos (".map" tracks). They are
// never written through a symbolic link: a folder handed over by someone
// else could point one anywhere in the user's home. And they are written
// atomically, so that a failed conversion or write (read-only folder, full
// disk) leaves nothing that a later opening would trust.

#include <QSaveFile>
#include <QString>
#include <memory>

namespace sidefile {

bool isLink(const QString &path);

// A file opened for writing at path, or null, with a log line naming `who`,
// when path is a link or cannot be written. Nothing is at path until commit().
std::unique_ptr<QSaveFile> create(const QString &path, const char *who);

// Puts the written file in place; false, with a log line, when that fails,
// and then nothing is left.
bool commit(QSaveFile &file, const char *who);

// create() for an output that replaces what is at path: a file there is
// removed first, so that a failed conversion leaves nothing; a link there
// is refused and left as it is.
std::unique_ptr<QSaveFile> replace(const QString &path, const char *who);

// The file at `from` written to `to` as above, a chunk at a time.
bool copy(const QString &from, const QString &to, const char *who);

} // namespace sidefile
