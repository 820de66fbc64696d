#!/bin/bash
# Builds the benchmarks and prints one table: each figure beside its floor or peer in the same run. Then the daemon at
# rest and after 10,000 mixed requests: memory, threads, descriptors, wake-ups, first answer.
#     scripts/bench.sh [SECONDS]     (how long to count wake-ups; 60, and 0 leaves the daemon at rest out)
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/lib/packages.sh build bench
cmake --preset release -DVENDORDIAG_BENCH=ON >/dev/null
cmake --build --preset release --parallel "$(nproc)" >/dev/null
bin=$PWD/build/release
for bench in hdlc info sentence vendorcfg; do
    "$bin/bench_$bench" 2>/dev/null | grep -E 'goal' || true
done
"$bin/load_bench" "$bin/vendordiag" "$bin/poll_echo" "$bin/poll_echo_linked" device
"$bin/client_bench" "$bin/vdiag" "$bin/echo_peer"
PATH=$bin:$PATH /usr/bin/python3 bench/serve_bench.py
[ "${1:-60}" -gt 0 ] || exit 0

echo "== The daemon at rest"
work=$(mktemp -d)
daemon=
trap 'kill "$daemon" 2>/dev/null || true; rm -rf "$work"' EXIT
tools/phone/make-phone.sh "$work/phone"
export VENDORDIAG_ROOT=$work/phone VENDORDIAG_TIME_SCALE=0
connect=unix:$work/phone/.sim/diag

begin=$(date +%s%N)
"$bin/vendordiag" >/dev/null 2>"$work/log" &
daemon=$!
until [ -S "$work/phone/.sim/diag" ]; do :; done
"$bin/vdiag" --connect "$connect" version >/dev/null
echo "first answer, the client's own start included: $((($(date +%s%N) - begin) / 1000)) us"

status() {
    awk '/^VmRSS|^Threads/ {printf "%s %s  ", $1, $2}' "/proc/$daemon/status"
    echo "descriptors: $(find "/proc/$daemon/fd" -mindepth 1 | wc -l)"
}
wakeups() { cat /proc/"$daemon"/task/*/status | awk '/^voluntary/ {n += $2} END {print n}'; }

sleep 1
echo "idle:                  $(status)"
"$bin/vdiag" --connect "$connect" info set operator=ABCD >/dev/null
for ((i = 0; i < 2000; i++)); do
    printf '%s\n' version battery 'ftm ReadWifimac' 'info get operator' 'rtn show'
done >"$work/plan"
"$bin/vdiag" --connect "$connect" run "$work/plan" >"$work/result" || tail -n 3 "$work/result"
echo "after 10,000 requests: $(status)"
before=$(wakeups)
sleep "${1:-60}"
echo "wake-ups in ${1:-60} s: $(($(wakeups) - before))"
