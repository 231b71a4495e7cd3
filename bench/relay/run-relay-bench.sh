#!/usr/bin/env bash
# /product-id lookups on tessivo-relay against a hello-world QHttpServer
# route, both measured here with wrk under the same load. Each server is
# pinned to CPU 0 and wrk to CPU 1 when there are two CPUs or more.
#
#   bench/relay/run-relay-bench.sh BUILD_DIR [DURATION_SECONDS] [CONNECTIONS]
#
# Prints one line per server and the ratio; the goal is a ratio of at least
# 0.67 with a p99 latency under 5 ms.
set -euo pipefail

build="${1:?usage: $0 BUILD_DIR [DURATION_SECONDS] [CONNECTIONS]}"
duration="${2:-10}"
connections="${3:-16}"
relay="$build/relay/tessivo-relay"
hello="$build/bench/relay/relay-hello-bench"
for f in "$relay" "$hello"; do
  [ -x "$f" ] || { echo "missing $f (build tessivo-relay and relay-hello-bench)" >&2; exit 1; }
done
command -v wrk >/dev/null || { echo "wrk is not installed" >&2; exit 1; }

work="$(mktemp -d)"
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

pin_server=()
pin_client=()
if [ "$(nproc)" -ge 2 ] && command -v taskset >/dev/null; then
  pin_server=(taskset -c 0)
  pin_client=(taskset -c 1)
fi

wait_port() { # file with "listening on 127.0.0.1:PORT"
  local i
  for i in $(seq 100); do
    if grep -qo 'listening on 127.0.0.1:[0-9]*' "$1" 2>/dev/null; then
      grep -o 'listening on 127.0.0.1:[0-9]*' "$1" | head -1 | sed 's/.*://'
      return
    fi
    sleep 0.1
  done
  echo "server did not start: $(cat "$1")" >&2
  exit 1
}

product="$("$relay" product add --bundle-id com.example.bench --data-dir "$work/data" 2>/dev/null)"
[ -n "$product" ]

# The relay as deployed: request log on (to a file), client limit off so the
# load generator is not throttled.
"${pin_server[@]}" "$relay" serve --data-dir "$work/data" --port 0 --client-rate 0 2>"$work/relay.log" &
pids+=($!)
relay_port="$(wait_port "$work/relay.log")"
"${pin_server[@]}" "$hello" >"$work/hello.log" 2>&1 &
pids+=($!)
hello_port="$(wait_port "$work/hello.log")"

curl -sf "http://127.0.0.1:$relay_port/product-id?bundleId=com.example.bench" | grep -q "$product"

measure() { # url -> "requests_per_second p99_ms"
  local out rps p99
  out="$("${pin_client[@]}" wrk -t1 -c"$connections" -d"${duration}s" --latency "$1")"
  rps="$(echo "$out" | awk '/^Requests\/sec:/ {print $2}')"
  p99="$(echo "$out" | awk '$1 == "99%" {print $2}')"
  case "$p99" in
    *us) p99="$(echo "${p99%us}" | awk '{printf "%.3f", $1 / 1000}')" ;;
    *ms) p99="${p99%ms}" ;;
    *s) p99="$(echo "${p99%s}" | awk '{printf "%.3f", $1 * 1000}')" ;;
  esac
  echo "$rps $p99"
}

# Warm both up, then measure each twice, interleaved, and keep the best.
wrk -t1 -c4 -d1s "http://127.0.0.1:$hello_port/hello" >/dev/null
wrk -t1 -c4 -d1s "http://127.0.0.1:$relay_port/product-id?bundleId=com.example.bench" >/dev/null
best_hello="0 0"
best_relay="0 0"
for round in 1 2; do
  h="$(measure "http://127.0.0.1:$hello_port/hello")"
  r="$(measure "http://127.0.0.1:$relay_port/product-id?bundleId=com.example.bench")"
  awk -v a="$h" -v b="$best_hello" 'BEGIN { split(a, x); split(b, y); exit !(x[1] > y[1]) }' && best_hello="$h"
  awk -v a="$r" -v b="$best_relay" 'BEGIN { split(a, x); split(b, y); exit !(x[1] > y[1]) }' && best_relay="$r"
done

read -r hello_rps hello_p99 <<<"$best_hello"
read -r relay_rps relay_p99 <<<"$best_relay"
ratio="$(awk -v r="$relay_rps" -v h="$hello_rps" 'BEGIN { printf "%.2f", r / h }')"
echo "cpus=$(nproc) connections=$connections duration=${duration}s"
echo "hello-world QHttpServer route: $hello_rps requests/s, p99 $hello_p99 ms"
echo "tessivo-relay /product-id:     $relay_rps requests/s, p99 $relay_p99 ms"
echo "ratio: $ratio (goal >= 0.67, p99 < 5 ms)"
