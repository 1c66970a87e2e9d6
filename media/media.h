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

// Call first thing in main, before any thread starts. Each video brings
// large buffers (decoded frames, software OpenGL's drawables) that go again
// at its end. glibc's moving mmap threshold soon serves such buffers from the
// heap, where the space they leave is kept: the process grew about 10 MB a
// clip. A fixed threshold hands every large buffer back when it is freed.
void returnLargeBuffersToSystem();

namespace Widgets {
// Call before the QApplication exists: video outputs share OpenGL resources
// with the window's contexts, which Qt allows only when asked up front.
void registerRenderers();
} // namespace Widgets

} // namespace media
