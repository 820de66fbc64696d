#!/bin/sh
# Builds the daemon as a phone gets it and runs every check of it: platform/android/check/run.sh [CTEST ARGUMENT...]
set -eu
cd "$(dirname "$0")/../../.."

scripts/lib/packages.sh build target
echo "== Building for a phone (build/target), and the client that talks to it (build/asan)"
mkdir -p build
for preset in target asan; do
    cmake --preset $preset >build/$preset.log 2>&1 || { cat build/$preset.log >&2; exit 1; }
done
cmake --build --preset target --parallel "$(nproc)"
cmake --build --preset asan --target vdiag rdss-chip simulated_phone --parallel "$(nproc)"
grep 'development key' build/target.log || :
exec ctest --preset target "$@"
