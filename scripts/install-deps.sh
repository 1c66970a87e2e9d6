#!/usr/bin/env bash
# Installs every Debian 12 package that building, running and testing Velomar needs.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake pkg-config git clang libclang-rt-14-dev clang-format
  # Qt 5.15
  qtbase5-dev qtbase5-dev-tools qtwebengine5-dev libqt5websockets5-dev
  qtmultimedia5-dev qtdeclarative5-dev libqt5opengl5-dev libqt5svg5-dev
  # media
  libmpv-dev ffmpeg
  # video export, in process: demux, decode, encode (x264), scale, resample
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev
  # resources
  libjs-leaflet fonts-liberation
  # Chinese, Japanese and Korean text: three of the seven languages, and the
  # map pages' labels
  fonts-wqy-microhei
  # tests and benchmarks
  xvfb xauth libgl1-mesa-dri x11-utils xdotool libbenchmark-dev valgrind
  # the reference reader of the track files velomar-track writes
  gpsbabel
  # the reference reader of the GPS that cameras keep inside videos
  libimage-exiftool-perl
  # a real window manager for window states, and the desktop's own opener
  openbox xdg-utils libglib2.0-bin
  # the map page in a real browser
  chromium
  # certificates for the network tests' local TLS servers
  openssl
  # mpv's own player, the yardstick of the media benchmark
  mpv
)

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
