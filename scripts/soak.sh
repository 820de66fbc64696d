#!/bin/sh
# Mixed requests from four clients, two of them hostile: every good request must be answered, and the daemon must not
# grow:
#     scripts/soak.sh REQUESTS [SEED]
set -eu
[ $# -ge 1 ] || { echo "usage: $0 REQUESTS [SEED]" >&2; exit 2; }
cd "$(dirname "$0")/.."

scripts/lib/packages.sh build bench
cmake --preset release -DVENDORDIAG_BENCH=ON >/dev/null
cmake --build --preset release --parallel "$(nproc)" --target soak vendordiag >/dev/null
phone=$(mktemp -d "${TMPDIR:-/tmp}/vendordiag-soak-XXXXXX")
trap 'rm -rf "$phone"' EXIT
tools/phone/make-phone.sh "$phone/phone"
build/release/soak build/release/vendordiag "$phone/phone" "$@"
