#!/bin/bash
# What is installed stands on its own, and its simulated phones do what they are told:
#     install_test.sh BUILD
# Prints what differs; exit status 1 then.
set -euo pipefail
build=$1
source=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

expect() { # what, expected, found
    [ "$2" = "$3" ] || { echo "$1: expected '$2', found '$3'"; failed=1; }
}
until_true() {
    for _ in $(seq 200); do
        if "$@"; then return 0; fi
        sleep 0.1
    done
    echo "in vain: $*"
    failed=1
}

# Another generator reads the same build files.
{ cmake -S "$source" -B "$work/make" -G "Unix Makefiles" -DVENDORDIAG_TESTS=OFF &&
    cmake --build "$work/make" --target simulated_phone; } >"$work/out" 2>&1 || { tail "$work/out"; failed=1; }

cmake --install "$build" --prefix "$work/usr" >/dev/null
expect "texts that name the source tree" "" "$(grep -rIl "$source" "$work/usr" || :)"
mkdir "$work/home"
export HOME=$work/home PATH=$work/usr/bin:$PATH
unset XDG_STATE_HOME VENDORDIAG_ROOT VENDORDIAG_LISTEN VENDORDIAG_TIME_SCALE
expect "version of the daemon" "$(vdiag --version | cut -d' ' -f2-)" "$(vendordiag --version | cut -d' ' -f2-)"
expect "version" "$(sed -n 's/^#define VENDORDIAG_VERSION "\(.*\)"/vdiag \1/p' "$source/version/version.h")" \
    "$(vdiag --version | cut -d' ' -f1-2)"

# The library from its CMake package and by pkg-config. It is built as the rest is.
flags=-fsanitize=$(sed -n 's/^VENDORDIAG_SANITIZE:.*=//p' "$build/CMakeCache.txt")
[ "$flags" != -fsanitize= ] || flags=
example=$work/usr/share/doc/libvdiag-dev/examples/example
{ cmake -S "$example" -B "$work/example" -DCMAKE_PREFIX_PATH="$work/usr" -DCMAKE_CXX_FLAGS="$flags" &&
    cmake --build "$work/example"; } >"$work/out" 2>&1 || { echo "the example:"; cat "$work/out"; failed=1; }
vdiag-phone --root "$work/library" --scale 0 -- sh -euc '
    [ "$("$1" "unix:$VENDORDIAG_ROOT/.sim/diag")" = "00 11 22 aa bb cc " ]
    [ "$("$1" "" 02:00:00:00:00:01)" = "02 00 00 00 00 01 " ]
    status=0; "$1" "" 01:00:00:00:00:01 2>"$2" || status=$?
    [ $status = 7 ] && grep -q "WriteWifimac: status 4" "$2"
    status=0; "$1" "" nonsense 2>/dev/null || status=$?
    [ $status = 2 ]' sh "$work/example/address" "$work/said" >"$work/out" 2>&1 ||
    { echo "the example runs:"; cat "$work/out"; failed=1; }
status=0
"$work/example/address" unix:/nowhere 2>/dev/null || status=$?
expect "status of the example without a phone" 3 "$status"
pc=$(dirname "$(find "$work/usr" -name vdiag.pc)")/vdiag.pc
expect "pkg-config" "$(find "$work/usr" -name libvdiag.a)" \
    "$(readlink -f "$(sed -n "s#^prefix=\${pcfiledir}#$(dirname "$pc")#p" "$pc")/$(sed -n 's/^Libs: -L${prefix}\(.*\) -lvdiag/\1/p' "$pc")/libvdiag.a")"

# A plan, at the address that the client has when it is given none; the command's status is that of vdiag-phone.
phone=$HOME/.local/state/vdiag-phone
status=0
vdiag-phone --scale 0.1 -- sh -c 'unset VENDORDIAG_ROOT VENDORDIAG_LISTEN
    vdiag run "$1/share/vendordiag/docs/plans/smoke.plan" && exit 23' sh "$work/usr" >"$work/out" 2>&1 || status=$?
[ "$status" -eq 23 ] || { echo "a plan: status $status"; cat "$work/out"; failed=1; }
vdiag run --fresh "$work/usr/share/vendordiag/tests/cases/status.case" >"$work/out" 2>&1 ||
    { echo "cases:"; cat "$work/out"; failed=1; }
expect "left behind" "" "$(ls "$phone/.sim/diag" 2>/dev/null || :)"

# Keys: whole records of decimal codes, and nothing for a wrong one.
exec 3<>"$phone/dev/input/event1"
vdiag-phone press event1 0116 767
expect "pressed" "01007400 01000000 00000000 00000000 01007400 00000000 00000000 00000000 0100ff02 01000000 00000000 \
00000000 0100ff02 00000000 00000000 00000000 " \
    "$(dd bs=192 count=1 iflag=fullblock status=none <&3 | od -An -v -tx1 -w24 | cut -c49- | tr -d ' ' | sed 's/.\{8\}/& /' | tr '\n' ' ')"
for wrong in 0 768 1x -1 99999999999999999999; do
    vdiag-phone press event1 116 $wrong 2>/dev/null && expect "press $wrong" refused pressed
done
expect "pressed for a wrong code" "" "$(timeout 0.2 od -N1 -An <&3 || :)"
exec 3<&-

# Several phones: apart, up again in the mode that was asked for and at the port that was theirs, gone on a signal.
vdiag-phone --root "$work/p" --count 2 --listen tcp:127.0.0.1:0 --scale 0.1 >"$work/out" 2>"$work/errors" &
serving=$!
until_true grep -q "$work/p-2 serves" "$work/out"
second=$(sed -n "s#^$work/p-2 serves at.* \(tcp:[^ ]*\).*#\1#p" "$work/out")
vdiag -c "unix:$work/p-1/.sim/diag" ftm WriteWifimac 02:11:22:33:44:55 >/dev/null
expect "the other phone's address" "" "$(vdiag -c "$second" ftm ReadWifimac | grep 02:11 || :)"
vdiag -c "$second" ftm RebootFtm --yes >/dev/null
until_true grep -qx "Phone 2 boots in factory mode (ro.bootmode is ffbm-99)" "$work/out"
answers() { vdiag -c "$second" -t 2s version >/dev/null 2>&1; }
until_true answers
vdiag-phone --root "$work/p-1" -- true 2>/dev/null && expect "a second daemon" refused started
kill -TERM "$serving"
status=0
wait "$serving" || status=$?
expect "status after a signal" 0 "$status"
expect "complaints" "" "$(cat "$work/errors")"
expect "daemons that live on" "" "$(for exe in /proc/[0-9]*/exe; do readlink "$exe"; done 2>/dev/null | grep "^$work/" || :)"

mkdir "$work/other"
vdiag-phone --root "$work/other" -- true 2>/dev/null && expect "a directory that is no phone" refused used
vdiag-phone --count 2 --listen tcp:127.0.0.1:5000 -- true 2>/dev/null && expect "one port for two phones" refused used
exit $failed
