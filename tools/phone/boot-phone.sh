#!/bin/bash
# Brings a simulated phone from its last power call to the state in which it boots:
#     boot-phone.sh ROOT
# Properties that are not persistent are gone, the boot mode follows the restart's reason, and recovery carries out a
# wipe that the configuration partition asks for. Prints in words how the phone boots.
set -euo pipefail
[ $# -eq 1 ] && [ -d "$1/.sim" ] || { echo "usage: $0 ROOT" >&2; exit 2; }
root=$1
power=$root/.sim/power
booted=$root/.sim/booted  # how many power calls had been made when the phone last came up

# The offset of the record "recovery.command" on the partition, when it asks for a wipe. Records are 128 bytes from
# byte 4096 on; the name stands at their byte 32, the value at 96.
partition=$root/dev/block/by-name/orbcfg
text_at() { dd if="$partition" bs=1 skip="$1" count=32 2>/dev/null | tr -d '\0'; }
wipe_record() {
    local at
    for at in $(LC_ALL=C grep -abo 'recovery\.command' "$partition" 2>/dev/null | cut -d: -f1); do
        if [ $(((at - 4096) % 128)) -eq 32 ] && [ "$at" -lt 12288 ] && [ "$(text_at "$at")" = recovery.command ] &&
            [ "$(text_at $((at + 64)))" = --factory_wipe_data ]; then
            echo $((at - 32))
        fi
    done
}

wipe() {
    local record
    for record in $1; do
        dd if=/dev/zero of="$partition" bs=1 seek="$record" count=128 conv=notrunc 2>/dev/null
    done
    find "$root/data" "$root/cache" -mindepth 1 -delete
    mkdir -p "$root/data/app" "$root/data/cache" "$root/data/local/tmp" "$root/cache/logs/factorylog"
    find "$root/.sim/properties" -type f -delete  # the persistent ones live below /data
}

calls=0
[ ! -e "$power" ] || calls=$(wc -l <"$power")
reason=
if [ "$calls" != "$(cat "$booted" 2>/dev/null || echo 0)" ]; then
    reason=$(tail -n 1 "$power")
fi

mode=normal
words="normally"
case $reason in
    "restart2 ftmmode")
        mode=ffbm-99
        words="in factory mode (ro.bootmode is $mode)" ;;
    "restart2 recovery")
        record=$(wipe_record)
        if [ -n "$record" ]; then
            wipe "$record"
            words="normally, after recovery has cleared the user data"
        else
            words="normally, as recovery found nothing to do"
        fi ;;
    "restart2 edl") words="normally, after it has left the emergency download mode" ;;
    power_off) words="normally, switched on again" ;;
    ?*)
        download=$root/sys/module/restart/parameters/download_mode
        if [ "$(head -c 1 "$download" 2>/dev/null)" = 1 ]; then
            echo 0 >"$download"
            words="normally, after it has left the download mode"
        fi ;;
esac

mkdir -p "$root/.sim/properties"
find "$root/.sim/properties" -type f ! -name 'persist.*' -delete
printf %s "$mode" >"$root/.sim/properties/ro.bootmode"
echo "$calls" >"$booted"
echo "$words"
