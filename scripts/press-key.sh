#!/bin/sh
# Presses keys on an input device of the simulated phone:
#     scripts/press-key.sh [-r ROOT] event<N> CODE...
# Writes a press and a release of each key code (decimal) as kernel input event records. ROOT defaults to
# $VENDORDIAG_ROOT. An event is lost, as on a phone, while nobody has the device open.
set -eu

usage() {
    echo "usage: $0 [-r ROOT] event<N> CODE..." >&2
    exit 2
}

root=${VENDORDIAG_ROOT-}
if [ "${1-}" = -r ]; then
    [ $# -ge 2 ] || usage
    root=$2
    shift 2
fi
[ -n "$root" ] && [ $# -ge 2 ] || usage
device=$root/dev/input/$1
shift
[ -p "$device" ] || { echo "$0: no input device at $device" >&2; exit 1; }

# Prints one 24-byte record: 16 bytes of time, type, code, value, all little-endian, in octal for printf.
record() {
    printf '\\%03o' 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 \
        "$1" 0 $(($2 % 256)) $(($2 / 256)) "$3" 0 0 0
}

for code in "$@"; do
    case $code in
        '' | *[!0-9]* | ??????*) usage ;;
    esac
done
# Opened for both directions, so that a device that nobody reads does not block the writer.
for code in "$@"; do
    printf "$(record 1 "$code" 1)$(record 0 0 0)$(record 1 "$code" 0)$(record 0 0 0)"
done 1<> "$device"
