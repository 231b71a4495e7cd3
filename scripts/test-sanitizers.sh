#!/usr/bin/env bash
# Builds the whole project with AddressSanitizer (leak checks included) and
# UndefinedBehaviorSanitizer into build-sanitize/ (or
# $TESSIVO_SANITIZE_BUILD_DIR) and runs the whole test suite there, headless.
# Any report fails the test that made it. Arguments go to ctest.
#
# The display tier (label "display": the demo on a private X server, driven
# with real X input) is left out here: it runs in the normal suite, the kit
# code it drives is the code demo_tour runs here under the sanitizers, and
# an instrumented demo (its relay, the video cut and merge) on two cores
# would make a few minutes several times as long.
#
# Uses the PostgreSQL cluster of TESSIVO_TEST_POSTGRES_URL when one is
# exported (as scripts/test.sh does); otherwise starts a throwaway one.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
scripts/install-deps.sh

build_dir=${TESSIVO_SANITIZE_BUILD_DIR:-build-sanitize}
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$root}
# -O1 and line tables only: a quicker build and readable stacks.
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG" \
  -DTESSIVO_SANITIZE=address,undefined
cmake --build "$build_dir" --parallel "$(nproc)"

# Full unwinding of allocation stacks: Qt and the system libraries are built
# without frame pointers, and the suppressions need the frames inside them.
export ASAN_OPTIONS="detect_leaks=1:halt_on_error=1:check_initialization_order=1:strict_init_order=1:fast_unwind_on_malloc=0"
export LSAN_OPTIONS="suppressions=$root/tests/sanitizers/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

# Each test makes its own home, temporary and runtime folders
# (tests/isolate.sh).
export QT_QPA_PLATFORM=offscreen

if [ -z "${TESSIVO_TEST_POSTGRES_URL:-}" ]; then
  if postgres_env=$("$root/scripts/ci-postgres.sh" start); then
    eval "$postgres_env"
    # The trap runs after the cd below: the path must not be relative.
    trap '"$root/scripts/ci-postgres.sh" stop >/dev/null 2>&1 || true' EXIT
  else
    echo "test-sanitizers.sh: no PostgreSQL cluster; the relay's PostgreSQL tests will skip"
  fi
fi

cd "$build_dir"
ctest --output-on-failure --parallel "$(nproc)" --label-exclude display "$@"
