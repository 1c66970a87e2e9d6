#!/usr/bin/env bash
# Fresh Debian 12 to a running Velomar: packages, build, start.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh
build_dir=${VELOMAR_BUILD_DIR:-build}
exec "$build_dir/bin/velomar"
