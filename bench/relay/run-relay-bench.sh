#!/usr/bin/env bash
# /product-id lookups on tessivo-relay against a hello-world QHttpServer
# route, both measured here with wrk under the same load. Each server is
# pinned to CPU 0 and wrk to CPU 1 when there are two CPUs or more.
#
#   bench/relay/run-relay-bench.sh BUILD_DIR [SECONDS_PER_ROUND] [CONNECTIONS] [ROUNDS]
#
# The two servers are measured in alternating rounds and each keeps its best
# round: on a shared machine other work only ever lowers a figure. Prints one
# line per server and the ratio; the goal is a ratio of at least 0.67 with a
# p99 latency under 5 ms.
set -euo pipefail

build="${1:?usage: $0 BUILD_DIR [SECONDS_PER_ROUND] [CONNECTIONS] [ROUNDS]}"
duration="${2:-5}"
connections="${3:-16}"
rounds="${4:-5}"
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
relay_pid=$!
relay_port="$(wait_port "$work/relay.log")"
"${pin_server[@]}" "$hello" >"$work/hello.log" 2>&1 &
pids+=($!)
hello_pid=$!
hello_port="$(wait_port "$work/hello.log")"
ticks="$(getconf CLK_TCK)"

curl -sf "http://127.0.0.1:$relay_port/product-id?bundleId=com.example.bench" | grep -q "$product"

cpu_ticks() { # pid -> user + system clock ticks so far
  awk '{print $14 + $15}' "/proc/$1/stat"
}

measure() { # url pid -> "requests_per_second p99_ms cpu_us_per_request"
  local out rps p99 before after requests cpu
  before="$(cpu_ticks "$2")"
  out="$("${pin_client[@]}" wrk -t1 -c"$connections" -d"${duration}s" --latency "$1")"
  after="$(cpu_ticks "$2")"
  requests="$(echo "$out" | awk '/requests in/ {print $1}')"
  cpu="$(awk -v t="$((after - before))" -v n="$requests" -v hz="$ticks" 'BEGIN { printf "%.2f", t * 1e6 / hz / n }')"
  rps="$(echo "$out" | awk '/^Requests\/sec:/ {print $2}')"
  p99="$(echo "$out" | awk '$1 == "99%" {print $2}')"
  case "$p99" in
    *us) p99="$(echo "${p99%us}" | awk '{printf "%.3f", $1 / 1000}')" ;;
    *ms) p99="${p99%ms}" ;;
    *s) p99="$(echo "${p99%s}" | awk '{printf "%.3f", $1 * 1000}')" ;;
  esac
  echo "$rps $p99 $cpu"
}

# Warm both up, then measure them in alternating rounds; each keeps its best.
wrk -t1 -c4 -d1s "http://127.0.0.1:$hello_port/hello" >/dev/null
wrk -t1 -c4 -d1s "http://127.0.0.1:$relay_port/product-id?bundleId=com.example.bench" >/dev/null
best_hello="0 0 0"
best_relay="0 0 0"
for round in $(seq "$rounds"); do
  h="$(measure "http://127.0.0.1:$hello_port/hello" "$hello_pid")"
  r="$(measure "http://127.0.0.1:$relay_port/product-id?bundleId=com.example.bench" "$relay_pid")"
  awk -v a="$h" -v b="$best_hello" 'BEGIN { split(a, x); split(b, y); exit !(x[1] > y[1]) }' && best_hello="$h"
  awk -v a="$r" -v b="$best_relay" 'BEGIN { split(a, x); split(b, y); exit !(x[1] > y[1]) }' && best_relay="$r"
done

read -r hello_rps hello_p99 hello_cpu <<<"$best_hello"
read -r relay_rps relay_p99 relay_cpu <<<"$best_relay"
ratio="$(awk -v r="$relay_rps" -v h="$hello_rps" 'BEGIN { printf "%.2f", r / h }')"
cpu_ratio="$(awk -v r="$relay_cpu" -v h="$hello_cpu" 'BEGIN { printf "%.2f", h / r }')"
echo "cpus=$(nproc) connections=$connections rounds=$rounds of ${duration}s load=$(cut -d' ' -f1-3 /proc/loadavg)"
echo "hello-world QHttpServer route: $hello_rps requests/s, p99 $hello_p99 ms, $hello_cpu us CPU per request"
echo "tessivo-relay /product-id:     $relay_rps requests/s, p99 $relay_p99 ms, $relay_cpu us CPU per request"
echo "throughput ratio: $ratio (goal >= 0.67, p99 < 5 ms)"
echo "CPU-cost ratio (hello CPU per request / relay CPU per request): $cpu_ratio"
