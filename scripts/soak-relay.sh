#!/usr/bin/env bash
# A bounded soak of the relay, as CI runs it: a fresh tessivo-relay (SQLite in
# a temporary folder, 127.0.0.1, a free port) under tessivo-relay-soak's mixed
# load for TESSIVO_SOAK_SECONDS (default 600): product-id lookups, items,
# uploads, bad and incomplete requests, from many testers (X-Forwarded-For,
# trusted) over keep-alive and fresh connections, at a steady
# TESSIVO_SOAK_RATE requests per second (default 100). Then the relay is
# stopped with SIGTERM and its database is compared with what it confirmed.
#
# Fails on any 5xx, any request without a whole answer, any answer the
# request does not allow, the relay's memory growing more than 10 % (see
# relay/soak/RssSampler.h), an unclean stop, or a database that disagrees.
#
# Uses an existing build (build/ or $TESSIVO_BUILD_DIR); it builds nothing.
# The relay and the generator run at nice TESSIVO_SOAK_NICE (default 10).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${TESSIVO_BUILD_DIR:-build}
seconds=${TESSIVO_SOAK_SECONDS:-600}
rate=${TESSIVO_SOAK_RATE:-100}
niceness=${TESSIVO_SOAK_NICE:-10}
relay="$build/relay/tessivo-relay"
soak="$build/relay/soak/tessivo-relay-soak"
for f in "$relay" "$soak"; do
  [ -x "$f" ] || { echo "soak-relay: missing $f (build the project first)" >&2; exit 2; }
done

work="$(mktemp -d "${TMPDIR:-/tmp}/tessivo-soak.XXXXXX")"
relay_pid=""
cleanup() {
  if [ -n "$relay_pid" ] && kill -0 "$relay_pid" 2>/dev/null; then
    kill -TERM "$relay_pid" 2>/dev/null || true
    for _ in $(seq 100); do kill -0 "$relay_pid" 2>/dev/null || break; sleep 0.1; done
    kill -KILL "$relay_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

# The relay's settings; the generator reads the same variables to know the
# limits it tests. An 8 MiB body limit lets files of 1 MiB and refused
# streams of a few MiB through (oversized requests send only a little of
# their body); the client limit stays on (bursts from one address must meet
# it), the product limit is above the load's rate.
unset TESSIVO_RELAY_DATABASE_URL
export TESSIVO_RELAY_DATA_DIR="$work/data"
export TESSIVO_RELAY_LISTEN=127.0.0.1
export TESSIVO_RELAY_PORT=0
export TESSIVO_RELAY_TRUST_FORWARDED_FOR=1
export TESSIVO_RELAY_MAX_BODY_BYTES=$((8 * 1024 * 1024))
export TESSIVO_RELAY_MAX_HEADER_BYTES=16384
export TESSIVO_RELAY_MAX_ITEM_NAME=1024
export TESSIVO_RELAY_CLIENT_RATE=600
export TESSIVO_RELAY_CLIENT_BURST=60
export TESSIVO_RELAY_PRODUCT_RATE=6000
export TESSIVO_RELAY_PRODUCT_BURST=300
export TESSIVO_RELAY_IDLE_TIMEOUT_MS=10000
export TESSIVO_RELAY_REQUEST_TIMEOUT_MS=5000
export TESSIVO_RELAY_SHUTDOWN_GRACE_MS=10000
export TESSIVO_RELAY_PAIRING_WINDOW_S=120

bundle_a=com.example.soak.app
bundle_b=com.example.soak.other
product_a="$("$relay" product add --bundle-id "$bundle_a")"
product_b="$("$relay" product add --bundle-id "$bundle_b")"

started=$(date +%s)
nice -n "$niceness" "$relay" serve 2>"$work/relay.log" &
relay_pid=$!
port=""
for _ in $(seq 100); do
  port="$(grep -o 'listening on 127.0.0.1:[0-9]*' "$work/relay.log" 2>/dev/null | head -1 | sed 's/.*://')" || true
  [ -n "$port" ] && break
  kill -0 "$relay_pid" 2>/dev/null || break
  sleep 0.1
done
if [ -z "$port" ]; then
  echo "soak-relay: the relay did not start:" >&2
  cat "$work/relay.log" >&2
  exit 1
fi

load_status=0
nice -n "$niceness" "$soak" run --url "http://127.0.0.1:$port" --relay-pid "$relay_pid" \
  --product "$bundle_a=$product_a" --product "$bundle_b=$product_b" \
  --seconds "$seconds" --rate "$rate" --state "$work/state.json" || load_status=$?

ticks=$(getconf CLK_TCK)
relay_cpu="?"
if [ -r "/proc/$relay_pid/stat" ]; then
  relay_cpu=$(awk -v hz="$ticks" '{ printf "%.1f", ($14 + $15) / hz }' "/proc/$relay_pid/stat")
fi

# A graceful stop: SIGTERM, the requests in flight finish, exit status 0.
relay_status=0
kill -TERM "$relay_pid" 2>/dev/null || true
wait "$relay_pid" || relay_status=$?
relay_pid=""
wall=$(( $(date +%s) - started ))
stop_ok=1
if [ "$relay_status" -ne 0 ] || ! tail -n 5 "$work/relay.log" | grep -q ' stopped$'; then
  stop_ok=0
fi

# The relay's own request log, independently of what the generator saw.
log_5xx=$(awk '$(NF-2) ~ /^5[0-9][0-9]$/' "$work/relay.log" | wc -l)
log_db_errors=$(grep -c 'database: a statement failed' "$work/relay.log" || true)
log_requests=$(awk '$(NF) == "ms" && $(NF-2) ~ /^[0-9][0-9][0-9]$/' "$work/relay.log" | wc -l)

db_status=0
if [ -f "$work/state.json" ]; then
  "$soak" check-database --database "$work/data/relay.sqlite" --state "$work/state.json" || db_status=$?
else
  echo "database: not checked (the generator left no state)"
  db_status=1
fi
db_mib=$(du -sm "$work/data" | cut -f1)

echo "relay: exit status $relay_status after SIGTERM$([ "$stop_ok" -eq 1 ] && echo ", stopped cleanly" || echo ", NOT a clean stop"); \
$relay_cpu s of CPU over ${wall} s; its log: $log_requests requests, $log_5xx with a 5xx status, $log_db_errors failed statements; data folder ${db_mib} MiB"
if [ "$log_5xx" -gt 0 ] || [ "$log_db_errors" -gt 0 ]; then
  awk '$(NF-2) ~ /^5[0-9][0-9]$/' "$work/relay.log" | head -n 10
  grep 'database: a statement failed' "$work/relay.log" | head -n 10 || true
fi

if [ "$load_status" -eq 0 ] && [ "$db_status" -eq 0 ] && [ "$stop_ok" -eq 1 ] \
   && [ "$log_5xx" -eq 0 ] && [ "$log_db_errors" -eq 0 ]; then
  echo "soak-relay: PASS"
  exit 0
fi
echo "soak-relay: FAIL"
exit 1
