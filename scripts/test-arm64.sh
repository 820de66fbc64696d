#!/bin/bash
# Cross-compiles the daemon, the client and the tests for arm64 and runs the whole test suite and the smoke plan under
# user-mode emulation: unsigned char, alignment and atomics are then a phone's.
#     scripts/test-arm64.sh [CTEST ARGUMENT...]
# Installs Debian's cross compiler and multiarch libraries when they are missing.
set -euo pipefail
cd "$(dirname "$0")/.."

say() { printf '\n== %s\n' "$*"; }

scripts/lib/packages.sh build arm64
build=$PWD/build/arm64

say "Building (build/arm64)"
mkdir -p build
cmake --preset arm64 >"$build.log" 2>&1 || { cat "$build.log" >&2; exit 1; }
cmake --build --preset arm64 --parallel "$(nproc)"
file=$(readelf -h "$build/vendordiag" | sed -n 's/.*Machine: *//p')
[ "$file" = AArch64 ] || { echo "$0: $build/vendordiag is for $file" >&2; exit 1; }

say "The test suite, emulated"
ctest --preset arm64 --parallel "$(nproc)" "$@"

plan=docs/plans/smoke.plan
if [ ! -e "$plan" ]; then
    exit 0
fi
say "The smoke plan, emulated"
root=$(mktemp -d)/phone
daemon=
finish() {
    if [ -n "$daemon" ]; then
        kill -- "-$daemon" 2>/dev/null || :
        wait "$daemon" 2>/dev/null || :
    fi
    rm -rf "${root%/phone}"
}
trap finish EXIT
tools/phone/make-phone.sh "$root"
tools/phone/boot-phone.sh "$root" >/dev/null
VENDORDIAG_ROOT=$root setsid qemu-aarch64 "$build/vendordiag" >"$build.daemon.log" 2>&1 </dev/null &
daemon=$!
for _ in $(seq 300); do
    [ -S "$root/.sim/diag" ] && break
    sleep 0.1
done
qemu-aarch64 "$build/vdiag" --connect "unix:$root/.sim/diag" run "$plan"
