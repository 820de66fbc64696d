#!/bin/sh
# Builds with the sanitizers and runs every test. The last line is the test runner's summary. Arguments go to the test
# runner: scripts/test.sh -R Cases
set -eu
cd "$(dirname "$0")/.."

scripts/lib/packages.sh build
echo "== Configuring and building with the sanitizers (build/asan)"
mkdir -p build
cmake --preset asan >build/asan.log 2>&1 || { cat build/asan.log >&2; exit 1; }
cmake --build --preset asan --parallel "$(nproc)"
echo "== Running the tests"
exec ctest --preset asan --parallel "$(nproc)" "$@"
