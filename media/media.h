#pragma once

// Start-up settings of the media layer.
namespace media {

enum LogLevel
{
    LogOff,
    LogWarning,
    LogAll
};

// How much of mpv's own log reaches Qt's log; applies to players made later.
void setLogLevel(LogLevel level);
LogLevel logLevel();

namespace Widgets {
// Call before the QApplication exists: video outputs share OpenGL resources
// with the window's contexts, which Qt allows only when asked up front.
void registerRenderers();
} // namespace Widgets

} // namespace media
