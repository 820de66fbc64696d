#!/bin/bash
# A simulated phone boots as its last power call says. Prints what differs; exit status 1 then.
set -euo pipefail
tools=$(cd "$(dirname "$0")/../../tools/phone" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
phone=$work/phone
failed=0

expect() { # what, expected, found
    [ "$2" = "$3" ] || { echo "$1: expected '$2', found '$3'"; failed=1; }
}
boot() { # power call, words, boot mode
    [ -z "$1" ] || echo "$1" >>"$phone/.sim/power"
    expect "boot after '$1'" "$2" "$("$tools/boot-phone.sh" "$phone")"
    expect "boot mode after '$1'" "$3" "$(cat "$phone/.sim/properties/ro.bootmode")"
}
# A configuration record: slot, name, value.
record() {
    local at=$((4096 + 128 * $1))
    for field in "0 this-is-cfg-head" "32 $2" "64 cfg-signature-is-here" "96 $3"; do
        printf %s "${field#* }" | dd of="$phone/dev/block/by-name/orbcfg" bs=1 seek=$((at + ${field%% *})) conv=notrunc 2>/dev/null
    done
}
records() { LC_ALL=C grep -ac "$1" "$phone/dev/block/by-name/orbcfg" || :; }

mkdir "$work/other"
"$tools/make-phone.sh" "$work/other" 2>/dev/null && { echo "a directory that is no phone was replaced"; failed=1; }
"$tools/make-phone.sh" "$phone"
expect "input device" fifo "$(stat -c %F "$phone/dev/input/event0")"
expect "storage controller" platform/soc/1d84000.ufshc "$(readlink "$phone/dev/block/bootdevice")"

boot "" normally normal
echo value >"$phone/.sim/properties/debug.x"
echo value >"$phone/.sim/properties/persist.x"
boot "restart2 ftmmode" "in factory mode (ro.bootmode is ffbm-99)" ffbm-99
expect "properties that last" "persist.x ro.bootmode " "$(ls "$phone/.sim/properties" | tr '\n' ' ')"
boot "" normally normal # the same call does not count twice
boot "restart2 edl" "normally, after it has left the emergency download mode" normal

touch "$phone/data/app/user"
record 3 recovery.command --other
boot "restart2 recovery" "normally, as recovery found nothing to do" normal
record 4 other.name --factory_wipe_data
boot "restart2 recovery" "normally, as recovery found nothing to do" normal
expect "user data" yes "$([ -e "$phone/data/app/user" ] && echo yes)"
record 5 recovery.command --factory_wipe_data
boot "restart2 recovery" "normally, after recovery has cleared the user data" normal
expect "user data" "" "$(ls "$phone/data/app")"
expect "other records" 1 "$(records other.name)"
boot "restart2 recovery" "normally, as recovery found nothing to do" normal
exit $failed
