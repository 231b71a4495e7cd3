#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the relay tests.
#
#   eval "$(scripts/ci-postgres.sh start)"   # exports TESSIVO_TEST_POSTGRES_URL and TESSIVO_TEST_POSTGRES_DIR
#   (cd build && ctest -R relay_postgres --output-on-failure)
#   scripts/ci-postgres.sh stop              # stops it and deletes its folder
#
# The cluster lives in a fresh folder under /tmp, listens on 127.0.0.1 on a
# free port, trusts local connections and holds one database. PostgreSQL
# refuses to run as root: as root the script runs it as the "postgres"
# system user (made by the Debian packages), or as a user it creates.
# Nothing but "export ..." lines goes to standard output.
set -euo pipefail

find_bindir() {
  if command -v pg_config >/dev/null 2>&1 && [ -x "$(pg_config --bindir)/initdb" ]; then
    pg_config --bindir
    return
  fi
  local d
  for d in $(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -Vr); do
    if [ -x "$d/initdb" ] && [ -x "$d/pg_ctl" ]; then
      echo "$d"
      return
    fi
  done
  echo "ci-postgres: no PostgreSQL server found (install the Debian package postgresql)" >&2
  exit 1
}

free_port() {
  python3 - <<'PY' 2>/dev/null && return
import socket
s = socket.socket()
s.bind(("127.0.0.1", 0))
print(s.getsockname()[1])
s.close()
PY
  local p
  for p in $(seq 25432 25532); do
    if ! (exec 3<>/dev/tcp/127.0.0.1/$p) 2>/dev/null; then
      echo "$p"
      return
    fi
  done
  echo "ci-postgres: no free port" >&2
  exit 1
}

as_owner() {
  if [ "$(id -u)" -eq 0 ]; then
    runuser -u "$owner" -- "$@"
  else
    "$@"
  fi
}

start() {
  local bindir port dir
  bindir="$(find_bindir)"
  owner="$(id -un)"
  if [ "$(id -u)" -eq 0 ]; then
    owner=postgres
    if ! id "$owner" >/dev/null 2>&1; then
      owner=tessivo-pg
      id "$owner" >/dev/null 2>&1 || useradd --system --no-create-home --shell /usr/sbin/nologin "$owner"
    fi
  fi
  dir="$(mktemp -d /tmp/tessivo-pg.XXXXXX)"
  chmod 755 "$dir"
  [ "$(id -u)" -eq 0 ] && chown "$owner" "$dir"
  port="$(free_port)"
  as_owner "$bindir/initdb" -D "$dir/data" -U tessivo --auth=trust --encoding=UTF8 --no-sync >"$dir/initdb.log" 2>&1 \
    || { cat "$dir/initdb.log" >&2; exit 1; }
  as_owner "$bindir/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
    -o "-p $port -k $dir -c listen_addresses=127.0.0.1 -c fsync=off -c synchronous_commit=off -c full_page_writes=off" \
    start >/dev/null || { cat "$dir/server.log" >&2; exit 1; }
  as_owner "$bindir/createdb" -h 127.0.0.1 -p "$port" -U tessivo tessivo_relay_test >&2
  echo "$owner $bindir" >"$dir/owner"
  echo "export TESSIVO_TEST_POSTGRES_DIR=$dir"
  echo "export TESSIVO_TEST_POSTGRES_URL=postgresql://tessivo@127.0.0.1:$port/tessivo_relay_test"
}

stop() {
  local dir="${1:-${TESSIVO_TEST_POSTGRES_DIR:-}}"
  if [ -z "$dir" ] || [ ! -f "$dir/owner" ]; then
    echo "ci-postgres: no cluster to stop (give its folder or set TESSIVO_TEST_POSTGRES_DIR)" >&2
    exit 1
  fi
  local bindir
  read -r owner bindir <"$dir/owner"
  as_owner "$bindir/pg_ctl" -D "$dir/data" -m fast -w stop >/dev/null || true
  rm -rf "$dir"
}

case "${1:-}" in
  start) start ;;
  stop) stop "${2:-}" ;;
  *) echo "usage: $0 start | stop [DIR]" >&2; exit 2 ;;
esac
