#!/bin/sh
# The shipped plans hold on a fresh phone, provisioning a second time too, and a fault fails its own lines:
#     plans_test.sh VDIAG
set -eu
plans=$(cd "$(dirname "$0")/../../docs/plans" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
run() { "$vdiag" run --fresh "$work/plan" "$@" >"$work/out" 2>&1; }
holds() { run "$@" || { cat "$work/out"; exit 1; }; }
vdiag=$1

cp "$plans/smoke.plan" "$work/plan"
holds

cat "$plans/provisioning.plan" "$plans/provisioning.plan" >"$work/plan"
holds board=B0123456789 wifi=02:00:5e:10:00:01 bluetooth=02:00:5e:10:00:02 imei=004999010640000 label=CTA-2024-0123456 \
    device=DEVICE01 keybox="$plans/keybox.xml" widevine=5a*120+6b626f78+00*4 signature=5a*256 esim=0123456789 \
    key="$plans/../../keys/auth_dev_private.pem"

(echo "env VENDORDIAG_TIME_SCALE=1" && echo chip && cat "$plans/hardware.plan") >"$work/plan"
holds
(echo "gone /mnt/vendor/persist/sensors/tof_sen.txt" && echo "program /system/bin/nfc_test 'exit 1'" &&
    cat "$work/plan") >"$work/faulty"
mv "$work/faulty" "$work/plan"
status=0
run || status=$?
if [ "$status" -ne 8 ] || ! grep -q '3 failed, 0 skipped' "$work/out" ||
    ! grep -q 'GetTofData: status 1: failed' "$work/out" ||
    ! grep -q 'nfc card: status 1: the test program failed' "$work/out"; then
    echo "with two faults: status $status"
    cat "$work/out"
    exit 1
fi
