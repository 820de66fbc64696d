#!/bin/bash
# Checks the form of every source file, then lints them: scripts/lint.sh [FILE...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/packages.sh build lint
if [ $# -gt 0 ]; then
    files=("$@")
else
    mapfile -t files < <(git ls-files '*.cpp' '*.h')
fi

echo "== Checking the format of ${#files[@]} files"
clang-format-14 --dry-run -Werror "${files[@]}"
for script in $(git ls-files '*.sh' .ci/run device | xargs grep -lE '^#!/bin/(ba)?sh'); do
    bash -n "$script"
done

echo "== Linting (build/lint)"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
CC=clang-14 CXX=clang++-14 cmake -S . -B build/lint -G Ninja -DCMAKE_BUILD_TYPE=Debug >"$log" 2>&1 || {
    cat "$log" >&2
    exit 1
}
# What the build generates must be there to be looked at; only what the compile commands know is linted.
known() { for f in "${files[@]}"; do grep -qF "\"$PWD/$f\"" build/lint/compile_commands.json && echo "$f"; done; }
known | xargs -P "$(nproc)" -I{} sh -c '
    findings=$(clang-tidy-14 -p build/lint --quiet "$1" 2>/dev/null) && exit 0
    printf "%s\n" "-- $1" "$findings"
    exit 1' sh {}
echo "== Clean"
