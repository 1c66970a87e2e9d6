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
# Media: one long run each, against mpv's own player; needs a display.
echo "== bench_media"
if [ -z "${DISPLAY:-}" ]; then
    xvfb-run -a -s "-screen 0 1920x1080x24" build-bench/bin/bench_media "$@"
else
    build-bench/bin/bench_media "$@"
fi
