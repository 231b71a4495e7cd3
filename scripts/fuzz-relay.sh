#!/usr/bin/env bash
# Fuzzes the relay's multipart and add-item JSON parsing with libFuzzer for a
# bounded time each (default 60 s), in a clang build of its own (build-fuzz/).
#   scripts/fuzz-relay.sh [SECONDS_PER_HARNESS]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
seconds="${1:-60}"
build="$root/build-fuzz"
command -v clang++ >/dev/null || { echo "clang++ is not installed (Debian package clang)" >&2; exit 1; }
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_COMPILER=clang++ -DTESSIVO_RELAY_FUZZ=ON \
  -DTESSIVO_BUILD_TESTS=OFF -DTESSIVO_BUILD_DEMO=OFF -DTESSIVO_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target relay-fuzz-multipart relay-fuzz-json
for harness in multipart json; do
  corpus="$build/corpus-$harness"
  mkdir -p "$corpus"
  cp -n "$root/relay/fuzz/corpus/$harness/"* "$corpus/" 2>/dev/null || true
  echo "fuzzing $harness for ${seconds}s"
  "$build/relay/fuzz/relay-fuzz-$harness" -max_total_time="$seconds" -max_len=65536 -print_final_stats=1 \
    -artifact_prefix="$build/crash-$harness-" "$corpus" 2>&1 | tail -n 12
done
echo "fuzzing finished without a crash"
