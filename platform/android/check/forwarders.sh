#!/bin/sh
# Runs the phone's forwarders, as a daemon in a root directory of its own, against what lasts and what needs no power
# call, and looks at what only they keep:
#     platform/android/check/forwarders.sh DAEMON CLIENT
# Status 77, and why, where that cannot be done.
set -eu
daemon=$(realpath "$1")
client=$(realpath "$2")
cd "$(dirname "$0")/../../.."
skip() { echo "forwarders: not run: $*"; exit 77; }
[ "$(id -u)" -eq 0 ] && unshare --mount true 2>/dev/null || skip "it takes root and mount namespaces"
[ -x "$client" ] || skip "no client ($client)"
work=$(mktemp -d)
pid=
trap '[ -z "$pid" ] || kill "$pid" 2>/dev/null || :; rm -rf "$work"' EXIT
phone=$work/phone
fail() {
    echo "forwarders: $*; the daemon's log:" >&2
    tail -n 20 "$work/log" >&2
    exit 1
}

tools/phone/make-phone.sh "$phone"
# Another number than the user's, so that an owner is no group; and a program that tells which descriptors it was given.
sed -i 's/^bluetooth:.*/bluetooth:x:3003:/' "$phone/etc/group"
printf '%s\n' '#!/bin/sh' 'for fd in 3 4 5 6 7 8 9; do { true <&$fd; } 2>/dev/null && given="$given $fd"; done' 'echo "given:$given."' \
    >"$phone/vendor/bin/st_seid"
chmod +x "$phone/vendor/bin/st_seid"
rm "$phone/mnt/vendor/persist/.bt_nv.bin"
VENDORDIAG_ROOT=$phone platform/android/check/forwarded.sh "$daemon" >"$work/out" 2>"$work/log" 9<"$0" &
pid=$!
ask() { "$client" --connect "unix:$phone/.sim/diag" "$@"; }
for _ in $(seq 100); do
    [ -S "$phone/.sim/diag" ] && break
    sleep 0.1
done
ask run docs/plans/smoke.plan >"$work/smoke" || fail "smoke.plan: $(cat "$work/smoke")"
# TokBackup's directory has no search bit: without DAC_OVERRIDE it cannot be entered (docs/porting.md).
sed /TokBackup/d docs/plans/provisioning.plan >"$work/provisioning.plan"
ask run "$work/provisioning.plan" board=B0123456789 wifi=02:00:5e:10:00:01 bluetooth=02:00:5e:10:00:02 \
    imei=004999010640000 label=CTA-2024-0123456 device=DEVICE01 keybox="$PWD/docs/plans/keybox.xml" \
    widevine='5a*120+6b626f78+00*4' signature='5a*256' esim=0123456789 key="$PWD/keys/auth_dev_private.pem" \
    >"$work/plan" ||
    fail "provisioning.plan: $(cat "$work/plan")"

found=$(ask ftm GetNfcCplc 2>&1)
case $found in *given:.*) ;; *) fail "a program was given descriptors: $found" ;; esac
ask ftm WriteBTmac 00:11:22:33:44:55 >/dev/null || fail "a Bluetooth address cannot be written twice"
found=$(stat -c '%u:%g %a' "$phone/mnt/vendor/persist/.bt_nv.bin")
[ "$found" = "1002:3003 664" ] || fail "owner and mode of the Bluetooth address: $found"
found=$(find "$phone/mnt/vendor/persist" -name 'factoryinfo*' -type f)
[ "$found" = "$phone/mnt/vendor/persist/factoryinfo.xml" ] || fail "the information store is $found"
echo "forwarders: $(tail -n 1 "$work/plan" | sed 's/.*: //')"
