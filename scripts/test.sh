#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite headless.
# The relay's tests also run against a throwaway PostgreSQL cluster when one
# can be started; without it they run on SQLite alone and say so.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
chmod 700 "$XDG_RUNTIME_DIR"
export QT_QPA_PLATFORM=offscreen

if postgres_env=$(scripts/ci-postgres.sh start); then
  eval "$postgres_env"
  trap 'scripts/ci-postgres.sh stop >/dev/null 2>&1 || true' EXIT
else
  echo "test.sh: no PostgreSQL cluster; the relay's PostgreSQL tests will skip"
fi

cd "${TESSIVO_BUILD_DIR:-build}"
ctest --output-on-failure --parallel "$(nproc)" "$@"
