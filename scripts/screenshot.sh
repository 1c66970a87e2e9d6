#!/usr/bin/env bash
# Makes docs/screenshot.png: the window playing the sample clip (video,
# dashboard, gauge, the map with the route drawn) on a 1920x1080 display.
# Run after scripts/build.sh; with no network the map shows its plain
# background and says that tiles are unavailable.
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VELOMAR_BUILD_DIR:-build}
cmake --build "$build_dir" --target velomar-screenshot velomar_sample_clip
xvfb-run -a -s "-screen 0 1920x1080x24" \
    env VELOMAR_AUDIO_DRIVER=null "$build_dir/bin/velomar-screenshot" \
    "$build_dir/samples/drive.MP4" docs/screenshot.png "$@"
echo "docs/screenshot.png written"
