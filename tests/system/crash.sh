#!/bin/sh
# Kills the daemon at random moments while it writes its stores, and checks that none is lost:
#     tests/system/crash.sh KILLS [BUILD [SEED]]
# BUILD is a built tree (build/release).
set -eu

[ $# -ge 1 ] || { echo "usage: $0 KILLS [BUILD [SEED]]" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
build=${2:-$here/../../build/release}
phone=$(mktemp -d "${TMPDIR:-/tmp}/vendordiag-crash-XXXXXX")
trap 'rm -rf "$phone"' EXIT

"$here/../../tools/phone/make-phone.sh" "$phone/phone"
program=$build/vendordiag
if [ -n "${VENDORDIAG_EMULATOR:-}" ]; then  # for another machine
    program=$phone/vendordiag
    printf '#!/bin/sh\nexec %s %s/vendordiag\n' "$VENDORDIAG_EMULATOR" "$build" >"$program"
    chmod +x "$program"
fi
${VENDORDIAG_EMULATOR:-} "$build/crash_test" "$program" "$phone/phone" "$1" ${3:+"$3"}
