#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demo host app. Arguments go
# to the demo (try --help).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
exec "${TESSIVO_BUILD_DIR:-build}/examples/demo/tessivo-demo" "$@"
