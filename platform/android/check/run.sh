#!/bin/sh
# Builds the daemon as a phone gets it and runs every check of it: platform/android/check/run.sh [CTEST ARGUMENT...]
set -eu
cd "$(dirname "$0")/../../.."

scripts/packages.sh build target
echo "== Building for a phone (build/target)"
mkdir -p build
cmake --preset target >build/target.log 2>&1 || { cat build/target.log >&2; exit 1; }
cmake --build --preset target --parallel "$(nproc)"
exec ctest --preset target "$@"
