#!/bin/bash
# Checks the form of every source file, then lints them: scripts/lint.sh [FILE...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/lib/packages.sh build lint target
if [ $# -gt 0 ]; then
    files=("$@")
else
    mapfile -t files < <(git ls-files '*.cpp' '*.h')
fi

echo "== Checking the format of ${#files[@]} files"
clang-format-14 --dry-run -Werror "${files[@]}"
for script in $(git ls-files '*.sh' .ci/run device | xargs grep -lE -d skip '^#!/bin/(ba)?sh'); do
    bash -n "$script"
done

echo "== Checking who includes whom"
scripts/lib/arrows.sh

echo "== Linting (build/lint)"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# Generated sources are made when the build is configured.
configure() {
    CC=clang-14 CXX=clang++-14 cmake -S . -B "$@" -G Ninja -DCMAKE_BUILD_TYPE=Debug >"$log" 2>&1 || {
        cat "$log" >&2
        exit 1
    }
}
configure build/lint
configure build/lint/phone -DVENDORDIAG_PLATFORM=android
# A file that was clean, with the same headers and rules, is clean.
clean=build/lint/clean
mkdir -p "$clean"
headers=$(git ls-files -z '*.h' '*.clang-tidy' '*CMakeLists.txt' | xargs -0 cat | sha256sum)
known() {
    for file in "${files[@]}"; do
        key=$( (echo "$headers" && echo "$file" && cat "$file") | sha256sum | cut -c1-40)
        commands=$(grep -lF "\"$PWD/$file\"" build/lint/compile_commands.json build/lint/phone/compile_commands.json | head -1 || true)
        if [ ! -e "$clean/$key" ] && [ -n "$commands" ]; then
            echo "$file $clean/$key ${commands%/*}"
        fi
    done
}
known | xargs -r -P "$(nproc)" -L 1 sh -c '
    if findings=$(clang-tidy-14 -p "$3" --quiet "$1" 2>/dev/null); then
        echo "$1"
        : >"$2"
    else
        printf "%s\n" "-- $1" "$findings"
        exit 1
    fi' sh
echo "== Clean"
