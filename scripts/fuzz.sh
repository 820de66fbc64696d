#!/bin/sh
# Builds the fuzzers and runs each of them:
#     scripts/fuzz.sh SECONDS [NAME...]
# SECONDS for each (0: the seeds only). New inputs are kept below build/fuzz/corpus; a crash leaves its input in
# build/fuzz/crashes and ends with status 1.
set -eu

[ $# -ge 1 ] || { echo "usage: $0 SECONDS [NAME...]" >&2; exit 2; }
seconds=$1
shift
case $seconds in *[!0-9]* | '') echo "$0: $seconds is no number of seconds" >&2; exit 2 ;; esac

cd "$(dirname "$0")/.."

scripts/lib/packages.sh build fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzzers
[ $# -gt 0 ] || for binary in build/fuzz/fuzz_*; do
    [ ! -x "$binary" ] || [ -d "$binary" ] || set -- "$@" "${binary##*/fuzz_}"
done

# The phones that the fuzzers lay out are small and short-lived: memory is the place for them.
[ ! -w /dev/shm ] || export TMPDIR=/dev/shm
mkdir -p build/fuzz/crashes
failed=
for name in "$@"; do
    corpus=build/fuzz/corpus/$name
    seeds=fuzz/corpus/$name
    mkdir -p "$corpus"
    echo "== fuzz_$name"
    limit="-max_total_time=$seconds"
    [ "$seconds" != 0 ] || limit=-runs=0
    # A hang is a crash too: the slowest of the requests, with its programs, takes far less.
    if ! "build/fuzz/fuzz_$name" "$limit" -timeout=20 -print_final_stats=1 -max_len=4096 -rss_limit_mb=2048 \
        -artifact_prefix="build/fuzz/crashes/$name-" "$corpus" "$seeds" >"build/fuzz/$name.log" 2>&1; then
        failed="$failed $name"
        tail -n 60 "build/fuzz/$name.log"
    fi
    grep -E '^#[0-9]+[[:space:]]+(INITED|DONE)|^stat::number_of_executed_units' "build/fuzz/$name.log" | tail -n 2 || true
done
if [ -n "$failed" ]; then
    echo "failed:$failed (inputs in build/fuzz/crashes)" >&2
    exit 1
fi
echo "no fuzzer found anything in $seconds s each"
