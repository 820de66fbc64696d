#!/bin/bash
# Builds, starts a simulated phone, holds a short conversation with it and serves until interrupted:
#     scripts/run.sh [--once | --serve] [--fresh]
#   --once   end after the conversation, with its result as exit status (also when standard input is no terminal)
#   --serve  serve until interrupted even when standard input is no terminal
#   --fresh  begin with a phone that nobody has used
# It is vdiag-phone on the build tree: a phone that a command took down boots again, as its reason says.
set -euo pipefail
cd "$(dirname "$0")/.."

once=no
serve=no
options=()
for option in "$@"; do
    case $option in
        --once) once=yes ;;
        --serve) serve=yes ;;
        --fresh) options+=(--fresh) ;;
        -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"; exit 0 ;;
        *) echo "$0: unknown option '$option' (--help)" >&2; exit 2 ;;
    esac
done
if [ "$once" = no ] && { [ "$serve" = yes ] || [ -t 0 ]; }; then
    options+=(--serve)
fi
[ -z "${VENDORDIAG_LISTEN-}" ] || options+=(--listen "$VENDORDIAG_LISTEN")

build=$PWD/build/release
mkdir -p build
scripts/lib/packages.sh build
printf '\n== Building (build/release)\n'
cmake --preset release >"$build.log" 2>&1 || { cat "$build.log" >&2; exit 1; }
cmake --build --preset release --parallel "$(nproc)" --target vendordiag vdiag rdss-chip simulated_phone

cat <<TEXT

== A conversation (vdiag run docs/plans/smoke.plan), once the phone is up
   talk to it from another terminal:  cd $build && ./vdiag version
   its files:                         $build/device
   its log:                           $build/device.log

TEXT
exec "$build/vdiag-phone" --root "$build/device" ${options[@]+"${options[@]}"} -- "$build/vdiag" run docs/plans/smoke.plan
