#!/usr/bin/env bash
# Builds the fuzz targets (clang, ASan+UBSan) into build-fuzz/ and runs each
# for SECONDS: scripts/fuzz.sh SECONDS [nmea checksum info gpx srt box novatek gpmf camm
# blackvue 70mai texttrack]
# Seeds come from fuzz/corpus/<target>; what a run finds stays in
# build-fuzz/corpus/<target>, crashes in build-fuzz/crashes/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:?usage: scripts/fuzz.sh SECONDS [target...]}
shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(nmea checksum info gpx srt box novatek gpmf camm blackvue 70mai
    texttrack)

CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DVELOMAR_FUZZ=ON -DVELOMAR_SANITIZE=address -DVELOMAR_TESTS=OFF -DVELOMAR_BENCH=OFF >/dev/null
cmake --build build-fuzz -j "$(nproc)" --target $(printf 'fuzz_%s ' "${targets[@]}")

status=0
for t in "${targets[@]}"; do
    mkdir -p "build-fuzz/corpus/$t" "build-fuzz/crashes/$t"
    echo "== fuzz_$t for ${seconds}s"
    if ! build-fuzz/bin/fuzz_"$t" -max_total_time="$seconds" -max_len=16384 -timeout=10 \
        -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="build-fuzz/crashes/$t/" \
        "build-fuzz/corpus/$t" "fuzz/corpus/$t" 2>"build-fuzz/fuzz_$t.log"; then
        status=1
        echo "fuzz_$t FAILED; see build-fuzz/fuzz_$t.log and build-fuzz/crashes/$t/"
    fi
    grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|Done)|^#[0-9]+.*DONE' \
        "build-fuzz/fuzz_$t.log" || true
done
exit $status
