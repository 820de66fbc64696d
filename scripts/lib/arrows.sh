#!/bin/sh
# Who may know whom, held against the #include lines of the rooms: the ground knows itself alone, the rooms on it know no
# family, no family knows another, and nothing but the roof knows the roof.
set -eu
cd "$(dirname "$0")/../.."

git ls-files '*.cpp' '*.h' | xargs awk -v families="ftm factory buildinfo peripheral" -v ground_rooms="packet support vendorcfg rdss" '
    function may(room, names,    n, i, list) {
        n = split(names, list, " ")
        for (i = 1; i <= n; i++) known[room, list[i]] = 1
        ruled[room] = 1
    }
    BEGIN {
        seam = "platform/include"
        may("platform/include", seam)
        may("platform/posix", seam " platform/posix")
        may("platform/android", seam " platform/posix platform/android")
        may("platform/host", seam " platform/posix platform/host")
        may("version", "version generated")
        may("tools", seam " platform/host version tools")
        count = split(ground_rooms, room, " ")
        for (i = 1; i <= count; i++) may(room[i], seam " " room[i])
        count = split(families, room, " ")
        for (i = 1; i <= count; i++) may(room[i], seam " " ground_rooms " " room[i])
        may("daemon", seam " " ground_rooms " " families " version daemon")
    }
    function room_of(path,    part) {
        split(path, part, "/")
        return part[1] == "platform" ? part[1] "/" part[2] : part[1]
    }
    /^#include "/ {
        from = room_of(FILENAME)
        split($0, quoted, "\"")
        to = room_of(quoted[2])
        if (from in ruled && !((from, to) in known)) {
            print FILENAME ":" FNR ": " from " may not know " to > "/dev/stderr"
            failed = 1
        }
    }
    END { exit failed }'
