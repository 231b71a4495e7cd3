#!/usr/bin/env bash
# Installs every Debian 12 package that building, running and testing the kit
# needs. Does nothing when they are all present. Runs as root or through sudo.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git ccache
  qt6-base-dev qt6-base-dev-tools qt6-multimedia-dev qt6-svg-dev
  qt6-httpserver-dev qt6-websockets-dev libqt6sql6-sqlite
  qt6-qpa-plugins libgl-dev
  # Masking private Qt Quick items, and its tests' QML
  qt6-declarative-dev qml6-module-qtquick qml6-module-qtquick-window
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev ffmpeg
  # The URL session's HTTP engine
  libcurl4-openssl-dev
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-libav
  fonts-dejavu-core xvfb xauth
  # The display tests' real X input
  xdotool
  # The relay: its PostgreSQL driver, and a throwaway PostgreSQL server for its tests (scripts/ci-postgres.sh)
  libqt6sql6-psql postgresql
  # The relay's inbox browser test (headless Chromium) and its load benchmark
  chromium wrk
  # The relay's libFuzzer harnesses (relay/fuzz, built on request)
  clang
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
  sudo=()
elif command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
else
  echo "install-deps: missing packages (${missing[*]}) and neither root nor sudo is available" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
