#!/usr/bin/env bash
# Runs every benchmark. Each reports its figures as ratios against a
# reference measured in the same run; docs/PERFORMANCE.md explains them.
# Run it on an otherwise idle machine: other work only lowers the figures.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
build_dir=${TESSIVO_BUILD_DIR:-build}
export QT_QPA_PLATFORM=offscreen
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}

for target in bench-recording bench-photo bench-videoreport; do
  echo "== $target"
  cmake --build "$build_dir" --target "$target"
done
echo "== relay"
bench/relay/run-relay-bench.sh "$build_dir"
