#pragma once

// main() of the benchmarks that play media under X: mpv's null audio, the
// clips they make kept in the build tree between runs.

#include "media.h"

#include <QApplication>
#include <QString>
#include <benchmark/benchmark.h>

namespace mediabench {

inline int main(int argc, char **argv, QString &clipDir)
{
    media::Widgets::registerRenderers();
    media::setLogLevel(media::LogOff);
    qputenv("VELOMAR_AUDIO_DRIVER", "null"); // as mpv's --ao=null: no sound device here
    QApplication app(argc, argv);
    clipDir = QCoreApplication::applicationDirPath() + "/../bench-clips";
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace mediabench
