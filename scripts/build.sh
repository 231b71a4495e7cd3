#!/usr/bin/env bash
# Configures and builds the whole project into build/ (or $TESSIVO_BUILD_DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${TESSIVO_BUILD_DIR:-build}
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD}
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE:-RelWithDebInfo} "$@"
cmake --build "$build_dir" --parallel "$(nproc)"
