#!/bin/sh
# Builds the benchmarks and prints one table: each figure beside its floor or peer in the same run.
set -eu
cd "$(dirname "$0")/.."

scripts/packages.sh build bench
cmake --preset release -DVENDORDIAG_BENCH=ON >/dev/null
cmake --build --preset release --parallel "$(nproc)" >/dev/null
bin=build/release
for bench in hdlc info sentence vendorcfg; do
    "$bin/bench_$bench" 2>/dev/null | grep -E 'goal' || true
done
"$bin/load_bench" "$bin/vendordiag" "$bin/poll_echo" "$bin/poll_echo_linked" device
"$bin/client_bench" "$bin/vdiag" "$bin/echo_peer"
