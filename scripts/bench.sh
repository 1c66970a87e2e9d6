#!/usr/bin/env bash
# Builds a release tree in build-bench/ and runs every benchmark.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DVELOMAR_TESTS=OFF -DVELOMAR_BENCH=ON >/dev/null
cmake --build build-bench -j "$(nproc)"
for b in build-bench/bin/bench_*; do
    echo "== $(basename "$b")"
    "$b" --benchmark_repetitions="${BENCH_REPETITIONS:-3}" --benchmark_report_aggregates_only=true "$@"
done
