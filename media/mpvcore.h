#pragma once

// Thin helpers over the libmpv client API; internal to the media layer.

#include <mpv/client.h>

#include <QString>

namespace media::core {

// A started mpv core with the options every player of this program shares.
// Null, with a warning in the log, when mpv cannot start.
mpv_handle *create(const char *videoOutput);

// Forwards an mpv log message to Qt's log (at the layer's log level).
void forwardLog(const mpv_event_log_message *message);

int setString(mpv_handle *mpv, const char *name, const QString &value);
int setDouble(mpv_handle *mpv, const char *name, double value);
int setFlag(mpv_handle *mpv, const char *name, bool value);
bool getDouble(mpv_handle *mpv, const char *name, double &value);
QString getString(mpv_handle *mpv, const char *name); // null when unavailable

// Runs a command given as words; returns mpv's error code (>= 0 success).
int command(mpv_handle *mpv, std::initializer_list<QByteArray> words);
// Its MPV_EVENT_COMMAND_REPLY carries `reply` (0: no reply is looked at).
void commandAsync(mpv_handle *mpv, std::initializer_list<QByteArray> words, uint64_t reply = 0);

} // namespace media::core
