#!/bin/sh
# Runs a daemon that is linked with the phone's forwarders with a simulated phone as its root directory, with the
# group and capabilities that vendordiag.rc gives it and the host's programs below /usr:
#     VENDORDIAG_ROOT=PHONE forwarded.sh DAEMON
# As root. Everything is mounted in a mount namespace of its own and gone when the daemon ends.
set -eu
[ "${2-}" = inside ] || exec unshare --mount --propagation private -- "$0" "$1" inside
root=$(cd "$VENDORDIAG_ROOT" && pwd)
mkdir -p "$root/usr" "$root/dev"
for link in bin lib lib64; do
    [ -e "$root/$link" ] || ln -s "usr/$link" "$root/$link"
done
[ -e "$root/vendor/bin/sh" ] || ln -s /usr/bin/sh "$root/vendor/bin/sh"
mount --bind /usr "$root/usr"
mount -o remount,bind,ro "$root/usr"
for file in /dev/null /dev/full "$1"; do
    inside=$root/dev/${file##*/}
    : >>"$inside"
    mount --bind "$file" "$inside"
done
# The kernel's power call needs SYS_BOOT, which this daemon does not get: its power calls are the simulated phone's.
capabilities=$(sed -n 's/^ *capabilities //p' "$(dirname "$0")/../vendordiag.rc" | sed 's/ *SYS_BOOT//; s/ /,+/g' | tr A-Z a-z)
bluetooth=$(sed -n 's/^bluetooth:x:\([0-9]*\):.*/\1/p' "$root/etc/group")
umask 077 # as init's
exec chroot "$root" /usr/bin/env -i PATH=/system/bin:/vendor/bin:/usr/bin VENDORDIAG_ROOT=/ \
    VENDORDIAG_POWER="${VENDORDIAG_POWER-exit}" \
    setpriv --groups "0,$bluetooth" --bounding-set="-all,+$capabilities" --inh-caps=-all "/dev/${1##*/}"
