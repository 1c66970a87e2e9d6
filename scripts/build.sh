#!/usr/bin/env bash
# Configures and builds into build/ (or $VELOMAR_BUILD_DIR). Extra arguments
# go to CMake's configure step, e.g. -DVELOMAR_SANITIZE=address.
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELOMAR_BUILD_DIR:-build}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
cmake --build "$build_dir" -j "$(nproc)"
