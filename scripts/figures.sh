#!/bin/bash
# Measures the daemon at rest and after 10,000 mixed requests: memory, threads, descriptors, wake-ups, first answer.
#     scripts/figures.sh [SECONDS]     (how long to count wake-ups; 60)
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/packages.sh build
cmake --preset release >/dev/null
cmake --build --preset release --parallel "$(nproc)" >/dev/null
bin=$PWD/build/release
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
