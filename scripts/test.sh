#!/usr/bin/env bash
# Installs what is missing, builds, and runs everything CI checks, headless:
#   1. the whole test suite on the normal build (the relay's tests also on a
#      throwaway PostgreSQL cluster when one can be started), the display
#      tier included: it starts its own Xvfb and drives the demo there with
#      real X input (ctest label "display");
#   2. the relay's 10-minute soak (scripts/soak-relay.sh), in the background
#      while
#   3. the whole suite runs again under AddressSanitizer and UBSan
#      (scripts/test-sanitizers.sh, into build-sanitize/).
# TESSIVO_SOAK=0 or TESSIVO_SANITIZERS=0 leave out 2 or 3. Arguments go to
# both ctest runs.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
scripts/install-deps.sh
scripts/build.sh
build_dir=${TESSIVO_BUILD_DIR:-build}
# Each test makes its own home, temporary and runtime folders
# (tests/isolate.sh).
export QT_QPA_PLATFORM=offscreen

soak_pid=
cleanup() {
  [ -n "$soak_pid" ] && kill "$soak_pid" 2>/dev/null || true
  "$root/scripts/ci-postgres.sh" stop >/dev/null 2>&1 || true
}
trap cleanup EXIT

if postgres_env=$(scripts/ci-postgres.sh start); then
  eval "$postgres_env"
else
  echo "test.sh: no PostgreSQL cluster; the relay's PostgreSQL tests will skip"
fi

(cd "$build_dir" && ctest --output-on-failure --parallel "$(nproc)" "$@")

soak_log=$build_dir/soak.log
if [ "${TESSIVO_SOAK:-1}" != 0 ]; then
  echo "test.sh: the relay's soak runs in the background; its log is $soak_log"
  scripts/soak-relay.sh >"$soak_log" 2>&1 &
  soak_pid=$!
fi

if [ "${TESSIVO_SANITIZERS:-1}" != 0 ]; then
  scripts/test-sanitizers.sh "$@"
fi

if [ -n "$soak_pid" ]; then
  status=0
  wait "$soak_pid" || status=$?
  soak_pid=
  cat "$soak_log"
  if [ "$status" != 0 ]; then
    echo "test.sh: the relay's soak failed (exit $status)"
    exit "$status"
  fi
fi
echo "test.sh: all passed"
