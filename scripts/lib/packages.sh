#!/bin/sh
# Installs what is missing for one or more uses, by Debian package name:
#     scripts/lib/packages.sh build | package | bench | lint | mutants | fuzz | target | arm64 ...
# Says and does nothing when all is there. As root, or with sudo.
set -eu

wanted=
foreign=
for use in "$@"; do
    case $use in
        build) wanted="$wanted g++ cmake make python3 ninja-build libxml2-dev libssl-dev libgtest-dev
            nlohmann-json3-dev libedit-dev python3-jsonschema" ;;
        package) wanted="$wanted dpkg-dev lintian mmdebstrap" ;;
        bench) wanted="$wanted libbenchmark-dev" ;;
        lint) wanted="$wanted clang-14 clang-format-14 clang-tidy-14" ;;
        mutants) wanted="$wanted python3-clang-14 ccache" ;;
        fuzz) wanted="$wanted clang-14 libclang-rt-14-dev" ;;
        target) wanted="$wanted clang-14 libc++-14-dev libc++abi-14-dev cmake ninja-build libxml2-dev android-libboringssl-dev
            android-liblog-dev android-libcutils-dev googletest blueprint-tools m4 checkpolicy" ;;
        arm64) wanted="$wanted g++-aarch64-linux-gnu qemu-user libxml2-dev:arm64 libssl-dev:arm64 libgtest-dev:arm64"
            foreign=arm64 ;;
        *) echo "$0: unknown use '$use'" >&2; exit 2 ;;
    esac
done

missing=
for package in $wanted; do
    # One line per architecture that has it.
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "$0: install as root:$missing" >&2; exit 1; }
    as_root=sudo
fi
echo "== Installing$missing"
[ -z "$foreign" ] || $as_root dpkg --add-architecture "$foreign"
$as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
# shellcheck disable=SC2086  # a list of names
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends $missing
