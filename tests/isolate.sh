#!/usr/bin/env bash
# Runs one test program in a home of its own, so that no test reads or
# writes the user's data, settings or cache, and none sees what another run
# left behind:
#
#   isolate.sh <program> [arguments...]
#
# A fresh folder under $TMPDIR (or /tmp) holds HOME, the XDG data, config,
# cache, state and runtime folders, and the TMPDIR the program sees. The
# folder is removed when the program ends; its exit status is kept. The
# program is killed if this script is (a test's time limit), and receives
# SIGTERM when this script does.
#
# With TESSIVO_TEST_LEFTOVERS=<file>, the files the program left in its
# home and temporary folders are listed in <file> before they go.
set -u

child=
stopping=
forward() {
  stopping=1
  [ -n "$child" ] && kill -TERM "$child" 2>/dev/null
}
trap forward TERM INT HUP

root=$(mktemp -d "${TMPDIR:-/tmp}/tessivo-test.XXXXXX") || exit 125
for d in home data config cache state runtime tmp; do
  mkdir "$root/$d" || { rm -rf "$root"; exit 125; }
done
chmod 700 "$root/runtime"

export HOME="$root/home"
export XDG_DATA_HOME="$root/data"
export XDG_CONFIG_HOME="$root/config"
export XDG_CACHE_HOME="$root/cache"
export XDG_STATE_HOME="$root/state"
export XDG_RUNTIME_DIR="$root/runtime"
export TMPDIR="$root/tmp"

# The program dies with this script even when it is killed outright.
launch=("$@")
if command -v setpriv >/dev/null 2>&1; then
  launch=(setpriv --pdeathsig KILL -- "$@")
fi

if [ -n "$stopping" ]; then
  rm -rf "$root"
  exit 143
fi
"${launch[@]}" &
child=$!
[ -n "$stopping" ] && kill -TERM "$child" 2>/dev/null
status=0
while :; do
  wait "$child"
  status=$?
  # A trapped signal ends the wait early; wait again for the program.
  kill -0 "$child" 2>/dev/null || break
done

if [ -n "${TESSIVO_TEST_LEFTOVERS:-}" ]; then
  (cd "$root" && find . -mindepth 2 ! -type d | sed "s|^\./|$(basename "$1"): |") \
    >>"$TESSIVO_TEST_LEFTOVERS" 2>/dev/null
fi
rm -rf "$root"
exit "$status"
