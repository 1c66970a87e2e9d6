#!/usr/bin/env bash
# Fresh Debian 12 to a full test run: packages, build, every test.
# Extra arguments go to CMake's configure step (see the README).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh "$@"
build_dir=${VELOMAR_BUILD_DIR:-build}
ctest_cmd=(ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)")
if [ -z "${DISPLAY:-}" ] && command -v xvfb-run >/dev/null; then
    # Tests with a window need a display; give them a virtual one.
    exec xvfb-run -a "${ctest_cmd[@]}"
fi
exec "${ctest_cmd[@]}"
