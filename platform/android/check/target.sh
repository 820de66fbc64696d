#!/bin/sh
# Proves what the target build links:
#     platform/android/check/target.sh BINARY LINK-MAP
# Every symbol that the daemon takes from the phone's libraries is in platform/android/symbols.list and the other way
# round, docs/porting.md prints that list, nothing of the host platform is in the binary, and it is hardened.
set -eu
binary=$1
map=$2
top=$(cd "$(dirname "$0")/../../.." && pwd)
list=$top/platform/android/symbols.list
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0

fail() {
    echo "target: $*" >&2
    failed=1
}

# The C library gives its symbols a version, the stand-ins do not; the C++ library's names are C++'s. "B": a variable that
# the linker copied.
nm -D "$binary" | awk '$(NF - 1) ~ /^[UB]$/ && $NF !~ /@|^_Z|^__cxa_|^__gxx_|^_Unwind_|^__bss_start$|^_end$/ { print $NF }' |
    sort -u >"$tmp/needed"
awk '!/^#/ { print $2 }' "$list" | sort -u >"$tmp/listed"
diff "$tmp/listed" "$tmp/needed" >"$tmp/diff" || fail "listed (<) and needed (>) symbols differ:
$(cat "$tmp/diff")"

readelf -d "$binary" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | sort >"$tmp/libraries"
{
    awk '!/^#/ { print $1 ".so" }' "$list"
    printf '%s\n' libc.so.6 libm.so.6 libgcc_s.so.1 libstdc++.so.6 libc++.so.1 libc++abi.so.1 libunwind.so.1 ld-linux-x86-64.so.2 \
        ld-linux-aarch64.so.1
} | sort -u >"$tmp/allowed"
extra=$(comm -23 "$tmp/libraries" "$tmp/allowed")
[ -z "$extra" ] || fail "libraries that nobody lists: $extra"

grep -v '^#' "$list" >"$tmp/rows"
sed -n '/<!-- symbols -->/,/<!-- end of symbols -->/p' "$top/docs/porting.md" | grep '^lib' >"$tmp/printed" || true
cmp -s "$tmp/rows" "$tmp/printed" || fail "docs/porting.md does not print platform/android/symbols.list"

# Where a package has the phone's library, it has what is listed of it. (The packaged libcutils is the host's.)
for library in libcrypto liblog; do
    packaged=$(echo /usr/lib/*/android/$library.so.0)
    nm -D --defined-only "$packaged" | awk '{ print $NF }' | sort -u >"$tmp/packaged"
    absent=$(awk -v library=$library '$1 == library { print $2 }' "$list" | sort -u | comm -23 - "$tmp/packaged")
    [ -z "$absent" ] || fail "$packaged lacks: $absent"
done

! grep -q 'platform/host\|vendordiag_host' "$map" || fail "files of the host platform are linked"
! strings "$binary" | grep -q 'VENDORDIAG_ROOT\|VENDORDIAG_LISTEN' || fail "the host's settings are in the binary"

header=$(readelf -h -l -d "$binary")
for property in 'DYN (' GNU_RELRO BIND_NOW; do
    case $header in *"$property"*) ;; *) fail "not hardened: no $property" ;; esac
done
case $header in *TEXTREL*) fail "text relocations" ;; esac
nm -D "$binary" | grep -q ' __stack_chk_fail' || fail "no stack protector"
nm -D "$binary" | grep -q '_chk@' || fail "no fortified calls"
case $(readelf -h "$binary") in
    *AArch64*)
        # In the code: the note that says so for the whole file needs start files that were built with it.
        aarch64-linux-gnu-objdump -d --no-show-raw-insn "$binary" >"$tmp/code"
        { grep -q 'paciasp' "$tmp/code" && grep -q 'bti	c' "$tmp/code"; } || fail "no branch protection" ;;
esac

[ $failed -eq 0 ] && echo "target: $(wc -l <"$tmp/listed") symbols of $(awk '!/^#/ { print $1 }' "$list" |
    sort -u | wc -l) libraries, nothing else"
exit $failed
