#!/bin/sh
# Installs what the build needs on a Debian machine, when it is missing.
#   scripts/install-deps.sh            the native build, the corvel tool and the
#                                      tests (Chromium renders the HTML report)
#   scripts/install-deps.sh windows    the MinGW-w64 cross compiler as well
#   scripts/install-deps.sh fuzz       clang and its sanitizer run-times (libFuzzer)
# As root it installs with apt-get; otherwise it names what to install and
# fails, so that nothing half-works.
set -eu

packages="cmake ninja-build g++ gcc pkgconf binutils libgtest-dev libbenchmark-dev libpugixml-dev libzip-dev libcli11-dev nlohmann-json3-dev chromium fonts-liberation"
for extra in "$@"; do
    case "$extra" in
        windows) packages="$packages g++-mingw-w64-x86-64" ;;
        fuzz) packages="$packages clang libclang-rt-14-dev" ;;
        *) echo "unknown part: $extra (windows, fuzz)" >&2; exit 2 ;;
    esac
done

missing=""
for p in $packages; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $p"
    fi
done

[ -z "$missing" ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
    echo "missing packages:$missing" >&2
    echo "install them with: sudo apt-get install$missing" >&2
    exit 1
fi

echo "installing:$missing"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $missing >/dev/null
