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

[ $failed -eq 0 ] && echo "files: build file, policy and contexts are well formed"
exit $failed
