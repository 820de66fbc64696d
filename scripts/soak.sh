#!/bin/sh
# Mixed requests from five clients, two of them hostile and one that brings programs that hang, terminals that hang up,
# keys, forgotten keybox handles and crowds: every good request must be answered, and the daemon must not grow:
#     scripts/soak.sh REQUESTS [SEED]
set -eu
[ $# -ge 1 ] || { echo "usage: $0 REQUESTS [SEED]" >&2; exit 2; }
cd "$(dirname "$0")/.."

scripts/lib/packages.sh build bench
cmake --preset release -DVENDORDIAG_BENCH=ON >/dev/null
cmake --build --preset release --parallel "$(nproc)" --target soak vendordiag >/dev/null
# In memory: most of what is sent is stored, and a disk would be all that is measured.
phone=$(mktemp -d "${TMPDIR:-/dev/shm}/vendordiag-soak-XXXXXX")
trap 'rm -rf "$phone"' EXIT
tools/phone/make-phone.sh "$phone/phone"
build/release/soak build/release/vendordiag "$phone/phone" "$@"
