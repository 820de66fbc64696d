#!/bin/bash
# Installs the Debian packages in a clean Debian 12 root, uses them as a stranger would, and removes them:
#     packaging/clean-root.sh [PACKAGE.deb...]     (as root; without packages, builds them in build/package)
# The root comes from the package source that this machine is set up for, in a folder that goes when it ends. The last line
# is the summary.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "${CLEAN_ROOT_UNSHARED-}" != yes ]; then
    scripts/lib/packages.sh build package
    CLEAN_ROOT_UNSHARED=yes exec unshare --mount "$0" "$@"  # what is mounted below goes with this
fi

packages=("$@")
if [ $# -eq 0 ]; then
    mkdir -p build
    { cmake -S . -B build/package -DVENDORDIAG_TESTS=OFF && cmake --build build/package --parallel "$(nproc)" &&
        (cd build/package && rm -f ./*.deb && cpack); } >build/package.log 2>&1 || { tail -n 30 build/package.log >&2; exit 1; }
    packages=(build/package/*.deb)
fi
lintian --tag-display-limit 0 --fail-on error "${packages[@]}"

work=$(mktemp -d)
trap 'umount -R -l "$root/proc" "$root/dev" 2>/dev/null || :; rm -rf --one-file-system "$work"' EXIT
root=$work/root
apt-config dump --format '%F "%v";%n' Acquire >"$work/apt.conf"
sources=(/etc/apt/sources.list.d/debian.sources)
[ -e "${sources[0]}" ] || sources=(/etc/apt/sources.list)
echo "== Making a root"
mmdebstrap --quiet --mode=root --variant=apt --aptopt="$work/apt.conf" --include=python3-pytest,man-db,g++,cmake,make,pkg-config \
    bookworm "$root" "${sources[@]}"
mkdir -p "$root/etc/apt/apt.conf.d"
cp "$work/apt.conf" "$root/etc/apt/apt.conf.d/99clean-root"
cp /etc/resolv.conf "$root/etc/resolv.conf"
mount -t proc proc "$root/proc"
mount --rbind /dev "$root/dev"
mount --make-rslave "$root/dev"
mkdir -p "$root/home/station"
cp "${packages[@]}" "$root/home/station/"
cp python/examples/test_station.py "$root/home/station/"

inside() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/home/station LC_ALL=C.UTF-8 sh -euc "$1"; }
files() { (cd "$root" && find usr etc lib opt srv var/lib -path var/lib/dpkg -prune -o -path var/lib/apt -prune -o \
    -path usr/share/man -prune -o -path '*/__pycache__*' -not -path '*/vdiag/*' -prune -o -print | sort); }
passed=()
step() { # what, commands
    if inside "$2" >"$work/out" 2>&1; then
        passed+=("$1")
        echo "ok    $1"
    else
        echo "FAILED $1"
        tail -n 30 "$work/out"
        exit 1
    fi
}

step update 'apt-get update -q'
files >"$work/before"
step install 'DEBIAN_FRONTEND=noninteractive apt-get install -q -y /home/station/*.deb'
step versions 'vdiag --version && vendordiag --version && vdiag-phone --version && man vdiag-phone | grep -q press'
step "first conversation" 'vdiag-phone --scale 0.1 -- sh -euc "
    unset VENDORDIAG_LISTEN VENDORDIAG_ROOT
    vdiag version
    vdiag info set operator=ABCD color=black
    vdiag info get operator color
    vdiag ftm WriteWifimac 00:11:22:aa:bb:cc
    vdiag ftm ReadWifimac | grep 00:11:22:aa:bb:cc
    vdiag raw 4b0bfe7f55465300
    vdiag run /usr/share/vendordiag/docs/plans/smoke.plan"'
step "a plan on each of four phones" 'vdiag-phone --root /home/station/p --count 4 --scale 0.1 -- sh -euc "
    test \$(echo \$VDIAG_PHONES | wc -w) = 4
    for phone in \$VDIAG_PHONES; do
        vdiag -c \$phone run /usr/share/vendordiag/docs/plans/smoke.plan
    done
    vdiag run --fresh /usr/share/vendordiag/tests/cases/status.case"'
step "the Python package and its fixtures" 'cd /home/station && pytest-3 -q -p no:cacheprovider test_station.py'
step "the other examples" 'cd /usr/share/doc/vendordiag-tools/examples && python3 -B -c "
import keywords, plug, vdiag
with vdiag.SimulatedPhone() as simulated:
    library = keywords.PhoneKeywords()
    library.open_phone(simulated.addresses[0])
    library.field_should_be(\"ftm ReadWifimac\", \"mac\", \"00:11:22:aa:bb:cc\")
    plug.PhonePlug.address = simulated.addresses[0]
    assert plug.measure_battery({}, plug.PhonePlug())"'
step "the library and its example" 'cd /usr/share/doc/libvdiag-dev/examples/example
cmake -S . -B /home/station/example && cmake --build /home/station/example
g++ -std=c++17 address.cpp $(pkg-config --cflags --libs vdiag) -o /home/station/address
vdiag-phone --scale 0.1 -- sh -euc "/home/station/example/address && /home/station/address \"\" 02:00:00:00:00:09 | grep \"00 09\""'
step removal 'DEBIAN_FRONTEND=noninteractive apt-get purge -q -y --autoremove vendordiag-tools libvdiag-dev'
files >"$work/after"
diff "$work/before" "$work/after" || { echo "FAILED: the package left traces"; exit 1; }
echo "${#passed[@]} steps passed in a clean root, and no file stayed: ${packages[*]##*/}"
