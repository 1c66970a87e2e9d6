#!/usr/bin/env bash
# Builds a release tree in build-bench/ and runs every benchmark.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DVELOMAR_TESTS=OFF -DVELOMAR_BENCH=ON >/dev/null
cmake --build build-bench -j "$(nproc)"
# Track parsing: repeated for a stable figure.
echo "== bench_track"
build-bench/bin/bench_track --benchmark_repetitions="${BENCH_REPETITIONS:-3}" \
    --benchmark_report_aggregates_only=true "$@"
# GPS inside videos: each layout against exiftool; a 4 GB file's memory.
echo "== bench_embedded"
build-bench/bin/bench_embedded "$@"
# Evidence clips: overlay and copy against ffmpeg; drawing; Cancel.
echo "== bench_export"
build-bench/bin/bench_export "$@"
# The rest draw on a display: a virtual one where there is none.
on_display() {
    if [ -z "${DISPLAY:-}" ]; then
        xvfb-run -a -s "-screen 0 1920x1080x24" "$@"
    else
        "$@"
    fi
}
# Media: one long run each, against mpv's own player.
echo "== bench_media"
on_display build-bench/bin/bench_media "$@"
# Cameras of a moment together: sync, seeks, CPU against mpv's front alone.
echo "== bench_channels"
on_display build-bench/bin/bench_channels "$@"
# The window: Play to first frame against ffmpeg alone; memory over 20 clips.
echo "== bench_window"
on_display build-bench/bin/bench_window "$@"
# The map page: long routes against empty calls.
echo "== bench_map"
on_display build-bench/bin/bench_map "$@"
