#!/bin/sh
# Checks the files that only a phone's build reads, as far as a workstation can: the build file's form (bpfmt), the
# policy (m4, checkpolicy, against a stand-in for the platform's policy), the contexts, and the init service.
# Status 77 when a tool is missing (packages blueprint-tools, m4, checkpolicy).
set -eu
cd "$(dirname "$0")/../../.."
for tool in bpfmt m4 checkpolicy; do
    command -v $tool >/dev/null || { echo "files: no $tool"; exit 77; }
done
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0
fail() {
    echo "files: $*" >&2
    failed=1
}

bpfmt -d Android.bp >"$tmp/bp" 2>&1 || fail "Android.bp cannot be read"
[ ! -s "$tmp/bp" ] || fail "Android.bp is not in its form: $(cat "$tmp/bp")"
for library in $(awk '!/^#/ { print $1 }' platform/android/symbols.list | sort -u); do
    grep -q "\"$library\"," Android.bp || fail "Android.bp does not link $library"
done

check=platform/android/check
sed '/^#/d' $check/policy_base.m4 >"$tmp/base"
{
    cat "$tmp/base"
    m4 $check/policy_macros.m4 platform/android/vendordiag.te
    cat $check/neverallow.te
    echo "user u roles { r };"
    echo "sid kernel u:r:kernel"
} >"$tmp/policy.conf"
checkpolicy -c 30 -o "$tmp/policy" "$tmp/policy.conf" >"$tmp/log" 2>&1 || fail "vendordiag.te: $(cat "$tmp/log")"

# Every label in the contexts is a type of the policy, and every pattern is a regular expression.
for contexts in file_contexts property_contexts; do
    while read -r pattern label _; do
        case $pattern in '' | \#*) continue ;; esac
        type=$(echo "$label" | cut -d: -f3)
        grep -Eq "^(type $type,|vendor_internal_prop\($type\))" platform/android/vendordiag.te ||
            fail "$contexts: $type is no type of vendordiag.te"
        [ $contexts = property_contexts ] || echo | grep -Eq "^$pattern\$" || [ $? -eq 1 ] ||
            fail "$contexts: $pattern is no pattern"
    done <platform/android/$contexts
done
grep -q '^service vendordiag /vendor/bin/vendordiag$' platform/android/vendordiag.rc || fail "vendordiag.rc: no service"
granted=$(sed -n 's/^allow vendordiag self:capability { \(.*\) };/\1/p' platform/android/vendordiag.te | tr a-z A-Z)
grep -q "^    capabilities $granted\$" platform/android/vendordiag.rc || fail "capabilities: policy $granted, service others"

for room in $(sed -n 's/^foreach(room \(.*\))$/\1/p' CMakeLists.txt) platform/android platform/posix version; do
    grep -q "\"$room/\*.cpp\"," Android.bp || fail "Android.bp does not compile $room"
done

# The product's key goes in as it is; the development key does so with a warning; what is no key stops the build.
key() { keys/auth_key.sh keys/auth_dev_public.pem ftm/ftm_auth_key.cpp.in "$1" 2>"$tmp/said"; }
sed '2s/.$/+/' keys/auth_dev_public.pem >"$tmp/product.pem"
key "$tmp/product.pem" | grep -qF "$(sed -n 2p "$tmp/product.pem")" && [ ! -s "$tmp/said" ] || fail "the product's key"
key keys/auth_dev_public.pem >"$tmp/source" && grep -q WARNING "$tmp/said" || fail "the development key goes in unnoticed"
! key /dev/stdin <<'PEM' && grep -q 'no RSA key of 2048 bits' "$tmp/said" || fail "an RSA key of 1024 bits goes in"
-----BEGIN PUBLIC KEY-----
MIGfMA0GCSqGSIb3DQEBAQUAA4GNADCBiQKBgQCu7iN6Cuh5JtuGb6hX8mBVkK8W
E3rfxFAJJpL838vztWkmxhODSr3VzTcPnbNBFqAvPwYzebNa/QxheEQQUUBMNSTN
pU1W0uncSRXabqQ1N6YeT8G2/T01NYy6BpacAdishBfdPyczmojGzKAiFcDYfcoz
YpjtLwLe7LJAoOj5GQIDAQAB
-----END PUBLIC KEY-----
PEM
! key README.md >"$tmp/source" || fail "README.md goes in as a key"

[ $failed -eq 0 ] && echo "files: build file, policy and contexts are well formed"
exit $failed
