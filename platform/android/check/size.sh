#!/bin/sh
# Size of a target binary by room, in bytes of code and data, and the limits that it must keep:
#     platform/android/check/size.sh BINARY LINK-MAP
# Limits are in size-limits beside this script (machine, room, bytes); "stripped" is the file without its symbol table.
# A room that has outgrown its limit fails; a deliberate growth raises the limit in the same commit. Texts that several
# files share count for the first of them.
set -eu
binary=$1
map=$2
top=$(cd "$(dirname "$0")/../../.." && pwd)
machine=$(readelf -h "$binary" | sed -n 's/.*Machine: *//p' | sed 's/.*X86-64.*/x86_64/; s/AArch64/aarch64/')
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
strip -o "$stripped" "$binary" 2>/dev/null || "$machine-linux-gnu-strip" -o "$stripped" "$binary"

# Which room a source file lives in, then the map's sections that were kept: " .text.name ADDRESS SIZE FILE", where
# what follows a long name stands on a line of its own. An archive names its members by file alone.
rooms=$(sed -n 's/^foreach(room \(.*\))$/\1/p' "$top/CMakeLists.txt")
(cd "$top" && for room in $rooms; do ls "$room"/*.cpp; done) |
    awk -v machine="$machine" -v rooms="$rooms" -v stripped="$(wc -c <"$stripped")" '
    function number(hex,    i, value) {
        value = 0
        for (i = 3; i <= length(hex); i++) value = value * 16 + index("123456789abcdef", substr(hex, i, 1))
        return value
    }
    FILENAME == "-" { split($1, part, "/"); room_of[part[2] ".o"] = part[1]; next }
    FILENAME ~ /size-limits$/ { if ($1 == machine) limit[$2] = $3; next }
    /^Linker script and memory map/ { kept = 1 }
    !kept { next }
    /^ \.(text|rodata|data|bss|gcc_except_table|eh_frame|init_array)[^ ]*$/ { line = $0; getline; $0 = line $0 }
    /^ \.(text|rodata|data|bss|gcc_except_table|eh_frame|init_array)/ && $2 ~ /^0x0*[1-9a-f]/ {
        name = $4
        sub(/.*\(/, "", name); sub(/\)$/, "", name); sub(/.*\//, "", name)
        room = name in room_of ? room_of[name] : $4 ~ /platform\/android/ ? "platform" : $4 ~ /core/ ? "ftm" : "runtime"
        size[room] += number($3)
    }
    END {
        size["stripped"] = stripped
        count = split(rooms " platform runtime stripped", order, " ")
        printf "%-12s %10s %10s\n", machine, "bytes", "limit"
        for (i = 1; i <= count; i++) {
            room = order[i]
            over = room in limit && size[room] > limit[room]
            failed = failed || over
            printf "%-12s %10d %10s%s\n", room, size[room], room in limit ? limit[room] : "-", over ? "  too large" : ""
        }
        exit failed
    }' - "$top/platform/android/check/size-limits" "$map"
