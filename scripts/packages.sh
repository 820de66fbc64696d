#!/bin/sh
# Installs what is missing for one or more uses, by Debian package name:
#     scripts/packages.sh build | lint | fuzz ...
# Says and does nothing when all is there. As root, or with sudo.
set -eu

wanted=
for use in "$@"; do
    case $use in
        build) wanted="$wanted g++ cmake ninja-build libxml2-dev libssl-dev libgtest-dev libcli11-dev
            nlohmann-json3-dev libedit-dev" ;;
        lint) wanted="$wanted clang-14 clang-format-14 clang-tidy-14" ;;
        fuzz) wanted="$wanted clang-14 libclang-rt-14-dev" ;;
        *) echo "$0: unknown use '$use'" >&2; exit 2 ;;
    esac
done

missing=
for package in $wanted; do
    case $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || :) in
        installed) ;;
        *) missing="$missing $package" ;;
    esac
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "$0: install as root:$missing" >&2; exit 1; }
    as_root=sudo
fi
echo "== Installing$missing"
$as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
# shellcheck disable=SC2086  # a list of names
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends $missing
