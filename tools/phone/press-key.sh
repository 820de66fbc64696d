#!/bin/bash
# Presses keys on an input device of the simulated phone:
#     press-key.sh [-r ROOT] event<N> CODE...
# Writes a press and a release of each key code (decimal, 1 to 767) as kernel input event records, whole or not at all.
# ROOT defaults to $VENDORDIAG_ROOT. An event is lost, as on a phone, while nobody has the device open.
set -euo pipefail

usage() {
    echo "usage: $0 [-r ROOT] event<N> CODE... (codes are decimal, 1 to 767)" >&2
    exit 2
}

root=${VENDORDIAG_ROOT-}
if [ "${1-}" = -r ]; then
    [ $# -ge 2 ] || usage
    root=$2
    shift 2
fi
[ -n "$root" ] && [ $# -ge 2 ] || usage
[[ $1 =~ ^event[0-9]+$ ]] || usage
device=$root/dev/input/$1
shift
[ -p "$device" ] || { echo "$0: no input device at $device" >&2; exit 1; }
for code in "$@"; do
    [[ $code =~ ^0*[0-9]{1,3}$ ]] && ((10#$code >= 1 && 10#$code <= 767)) || usage
done

# Prints one 24-byte record: 16 bytes of time, type, code, value, all little-endian, in octal for printf.
record() {
    printf '\\%03o' 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 \
        "$1" 0 $(($2 % 256)) $(($2 / 256)) "$3" 0 0 0
}

# Opened for both directions, so that a device that nobody reads does not block the writer. One write for each key: of a
# FIFO that is full it takes all or nothing.
for code in "$@"; do
    code=$((10#$code))
    printf "$(record 1 $code 1)$(record 0 0 0)$(record 1 $code 0)$(record 0 0 0)" |
        dd bs=96 count=1 iflag=fullblock oflag=nonblock status=none ||
        { echo "$0: $device takes no more events" >&2; exit 1; }
done 1<> "$device"
