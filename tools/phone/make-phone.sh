#!/bin/sh
# Lays out a simulated phone at rest:
#     make-phone.sh TARGET
# A copy of device/ and what a version control system does not keep: empty directories, input devices (FIFOs) and
# partitions. A phone that is there already is replaced as a whole; a directory that is none is left alone.
set -eu

[ $# -eq 1 ] && [ -n "$1" ] || { echo "usage: $0 TARGET" >&2; exit 2; }
source=$(cd "$(dirname "$0")/../../device" && pwd)
target=${1%/}
if [ -e "$target" ] && [ ! -d "$target/.sim" ]; then
    echo "$0: $target is no simulated phone; it is left alone" >&2
    exit 1
fi

new=$target.new.$$
trap 'rm -rf "$new"' EXIT
mkdir -p "$new"
cp -R -P -p "$source/." "$new/"
find "$new" -name .gitkeep -delete

here=$PWD
cd "$new"
mkdir -p .sim/properties .sim/modem/efs .sim/modem/properties .sim/board/config .sim/secure \
    cache/logs/factorylog data/app data/cache data/local/tmp dev/input sdcard tmp \
    mnt/vendor/persist/factoryinfo mnt/vendor/persist/keybox mnt/vendor/persist/omadm mnt/vendor/persist/soter

for node in sys/class/input/event*; do
    [ -d "$node" ] && mkfifo "dev/input/${node##*/}"
done

# A partition: its name and its size in KiB. Its uevent tells its device number, as the kernel's does.
minor=0
partition() {
    minor=$((minor + 1))
    dd if=/dev/zero of="$partitions/$1" bs=1024 count=0 seek="$2" 2>/dev/null
    mkdir -p "sys/class/block/sda$minor"
    printf 'MAJOR=8\nMINOR=%d\nDEVNAME=sda%d\nDEVTYPE=partition\nPARTN=%d\nPARTNAME=%s\n' \
        "$minor" "$minor" "$minor" "$1" >"sys/class/block/sda$minor/uevent"
}
partitions=dev/block/platform/soc/1d84000.ufshc/by-name
mkdir -p "$partitions"
partition persist 64
partition orbcfg 1024
partition apdp 256
partition apdpb 256
partition sec 128
ln -s platform/soc/1d84000.ufshc dev/block/bootdevice
ln -s bootdevice/by-name dev/block/by-name

# Firmware images: a head and numbered lines, of the usual sizes.
image() {
    if [ ! -e "$1" ]; then
        mkdir -p "${1%/*}"
        awk -v name="${1##*/}" -v size="$2" \
            'BEGIN { for (n = 0; n < size / 20 + 1; n++) printf "%-12s%07d\n", name, n }' | head -c "$2" >"$1"
    fi
}
image vendor/firmware_mnt/image/apdpmini.mbn 10000
image vendor/firmware_mnt/image/apdpfull.mbn 40960

date >.sim/laid-out
cd "$here"
rm -rf "$target"
mv "$new" "$target"
