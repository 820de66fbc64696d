#!/bin/bash
# Lays out a simulated phone, starts the daemon on it, holds a short conversation with it and serves until interrupted:
#     scripts/run.sh [--once | --serve] [--fresh]
#   --once   end after the conversation, with its result as exit status (also when standard input is no terminal)
#   --serve  serve until interrupted even when standard input is no terminal
#   --fresh  begin with a phone that nobody has used
# A phone that a command took down boots again, as its reason says.
set -euo pipefail
cd "$(dirname "$0")/.."

once=no
serve=no
fresh=no
for option in "$@"; do
    case $option in
        --once) once=yes ;;
        --serve) serve=yes ;;
        --fresh) fresh=yes ;;
        -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"; exit 0 ;;
        *) echo "$0: unknown option '$option' (--help)" >&2; exit 2 ;;
    esac
done
if [ "$serve" = no ] && [ ! -t 0 ]; then
    once=yes
fi

build=$PWD/build/release
root=$build/device
log=$build/vendordiag.log
address=unix:$root/.sim/diag
daemon=
chip=

say() { printf '\n== %s\n' "$*"; }

build_programs() {
    mkdir -p build
    scripts/packages.sh build
    say "Building (build/release)"
    if ! cmake --preset release >"$build.log" 2>&1; then
        cat "$build.log" >&2
        exit 1
    fi
    
    cmake --build --preset release --parallel "$(nproc)" --target vendordiag vdiag rdss-chip simulated_phone
}

# Ends the daemon and whatever it left in the background: all of its process group.
stop_daemon() {
    if [ -n "$daemon" ]; then
        kill -- "-$daemon" 2>/dev/null || :
        wait "$daemon" 2>/dev/null || :
        daemon=
    fi
}

stop_all() {
    stop_daemon
    if [ -n "$chip" ]; then
        kill "$chip" 2>/dev/null || :
    fi
}

# Boots the phone and waits until it serves.
boot() {
    local how
    how=$(scripts/boot-phone.sh "$root")
    say "The phone boots $how"
    VENDORDIAG_ROOT=$root VENDORDIAG_LISTEN=$listen setsid "$build/vendordiag" >>"$log" 2>&1 </dev/null &
    daemon=$!
    for _ in $(seq 100); do
        if "$build/vdiag" --connect "$address" --timeout 2s version >/dev/null 2>&1; then
            return 0
        fi
        kill -0 "$daemon" 2>/dev/null || break
        sleep 0.1
    done
    echo "The daemon does not serve. The end of its log ($log):" >&2
    tail -n 10 "$log" >&2
    return 1
}

# One request of the conversation; `expected` is the exit status that the client must end with.
ask() {
    local expected=$1 status=0
    shift
    printf '\n$ vdiag %s\n' "$*"
    "$build/vdiag" --connect "$address" --hex "$@" || status=$?
    if [ "$status" -ne "$expected" ]; then
        echo "   exit status $status, expected $expected"
        result=1
    fi
}

conversation() {
    result=0
    say "A conversation"
    if [ -e docs/plans/smoke.plan ]; then
        "$build/vdiag" --connect "$address" run docs/plans/smoke.plan || result=$?
        return
    fi
    ask 0 version
    ask 0 info set operator=ABCD color=black
    ask 0 info get operator color
    ask 0 ftm ReadWifimac
    ask 7 ftm --map ext NoSuchCommand
}

# Serves until interrupted; a phone that went down by command comes up again.
serve() {
    while :; do
        local before=0 now=0 status=0
        before=$(cat "$root/.sim/booted")
        wait "$daemon" || status=$?
        stop_daemon
        [ ! -e "$root/.sim/power" ] || now=$(wc -l <"$root/.sim/power")
        if [ "$status" -ne 0 ] || [ "$now" = "$before" ]; then
            echo "The daemon ended by itself with status $status. The end of its log ($log):" >&2
            tail -n 10 "$log" >&2
            return 1
        fi
        say "The phone went down: $(tail -n 1 "$root/.sim/power")"
        case $(tail -n 1 "$root/.sim/power") in
            power_off) rest "It is off. It is switched on again in 5 s" ;;
            "restart2 edl") rest "It is in emergency download mode, where no daemon runs. It leaves it in 5 s" ;;
        esac
        boot
        echo "It serves again."
    done
}

# Leaves the phone down for a while.
rest() {
    if [ -t 0 ]; then
        echo "$1 (Enter: at once, Ctrl-C: never)."
        read -r -t 5 || :
    else
        echo "$1."
        sleep 5
    fi
}

build_programs
if "$build/vdiag" --connect "$address" --timeout 2s version >/dev/null 2>&1; then
    echo "$0: a daemon serves this phone already ($address)" >&2
    exit 1
fi
if [ "$fresh" = yes ]; then
    scripts/make-phone.sh "$root"
fi
listen=$address
case ,${VENDORDIAG_LISTEN-}, in
    ,,) ;;
    *",$address,"*) listen=$VENDORDIAG_LISTEN ;;
    *) listen=$address,$VENDORDIAG_LISTEN ;;
esac
: >"$log"
trap stop_all EXIT
trap 'echo; echo "Interrupted; the phone is switched off."; exit 0' INT TERM
"$build/rdss-chip" --root "$root" >"$build/rdss-chip.log" 2>&1 </dev/null &
chip=$!
boot
conversation
if [ "$once" = yes ]; then
    exit "$result"
fi
cat <<TEXT

== Serving until interrupted (Ctrl-C)
   talk to it:    cd $build && ./vdiag version
                  ./vdiag --help
   the phone:     $root
   its log:       $log
   its address:   $listen
TEXT
serve
