#!/bin/sh
# Holds what the code names outside itself (paths, programs, properties: every such word in a text of the rooms' sources)
# against reach.list beside this script, and that list against the policy, the contexts and docs/porting.md.
set -eu
cd "$(dirname "$0")/../../.."
check=platform/android/check
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0
fail() {
    echo "reach: $*" >&2
    failed=1
}

for room in $(sed -n 's/^foreach(room \(.*\))$/\1/p' CMakeLists.txt); do
    cat "$room"/*.cpp "$room"/*.h
done | sed 's#//.*##' | grep -oE '"([^"\\]|\\.)*"' | sed 's/^"//; s/"$//' |
    awk '/^(am|start|stop|oemcrypto_test|StoreKeybox) / { print $1 }
        { for (i = 1; i <= NF; i++)
            if ($i ~ /^(\/[A-Za-z0-9._]|(vendor|system)\/)/ || $i ~ /^(persist|sys|debug|ftmd|ctl)\.[A-Za-z%]/) print $i }' |
    sort -u >"$tmp/named"
awk '!/^#/ { print $1 }' $check/reach.list | sort >"$tmp/listed"
diff "$tmp/named" "$tmp/listed" >"$tmp/diff" || fail "named in the code (<) and listed (>) differ:
$(cat "$tmp/diff")"

# "type class permission" for everything that the daemon is allowed, macros expanded.
m4 $check/policy_macros.m4 platform/android/vendordiag.te | sed 's/#.*//' | tr '\n' ' ' | tr ';' '\n' |
    awk '$1 == "allow" && $2 == "vendordiag" {
        gsub(/[{}]/, " & "); sub(/^ *allow +vendordiag +/, "")
        split($0, half, ":"); gsub(/[{}]/, "", half[1])
        count = split(half[1], types, " "); fields = split(half[2], rest, " ")
        for (t = 1; t <= count; t++) for (i = 2; i <= fields; i++) if (rest[i] !~ /[{}]/) print types[t], rest[1], rest[i]
    }' | sort -u >"$tmp/allowed"

grants() { grep -Eq "^$1 ($2) $3\$" "$tmp/allowed"; }
while read -r word need type where; do
    case $word in '' | '#'*) continue ;; esac
    path=${where:-$word}
    case $path in vendor/* | system/*) path=/$path ;; esac
    label=$(awk -v path="$path" '!/^#/ && path ~ ("^" $1 "$") { split($2, part, ":"); print part[3] }' \
        platform/android/file_contexts platform/android/property_contexts)
    case $type in
        -) [ -z "$label" ] || fail "$word is labelled $label but a stock policy forbids it"
            grep -qF "\`$word\`" docs/porting.md || fail "docs/porting.md does not say what the lack of $word takes away"
            continue ;;
        vendordiag_* | vendor_vendordiag_*) [ "$label" = "$type" ] || fail "$path is labelled '$label', not $type" ;;
        vendordiag) continue ;; # its own process
        *) [ -z "$label" ] || fail "$path is labelled $label, not $type" ;;
    esac
    for letter in $(echo "$need" | sed 's/./& /g'); do
        case $letter in
            r) grants "$type" 'file|chr_file|blk_file|lnk_file' read ;;
            w) grants "$type" 'file|chr_file|blk_file' write ;;
            m) grants "$type" file create && grants "$type" file unlink && grants "$type" dir add_name ;;
            l) grants "$type" dir read ;;
            x) grants "$type" file execute_no_trans ;;
            s) grants "$type" property_service set ;;
            *) false ;;
        esac || fail "the policy does not let the daemon have '$letter' on $path ($type)"
    done
done <$check/reach.list
[ $failed -eq 0 ] && echo "reach: $(wc -l <"$tmp/named") names, $(grep -c ' - *$' $check/reach.list) of them out of a stock policy's reach"
exit $failed
