#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite headless.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
chmod 700 "$XDG_RUNTIME_DIR"
export QT_QPA_PLATFORM=offscreen
cd "${TESSIVO_BUILD_DIR:-build}"
ctest --output-on-failure --parallel "$(nproc)" "$@"
