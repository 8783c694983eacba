#!/bin/sh
# Installs the Debian 12 packages that fibertest's build and tests need and
# that this machine lacks. Does nothing when everything is there.
#
#   scripts/install-deps.sh           what `make demo` and `make test` need
#   scripts/install-deps.sh --check   only list what is missing (exit 1 if any)
set -eu

# The build and the tests; clang and its runtime build the fuzz targets,
# whose short run is part of the tests.
packages="cmake ninja-build g++ make pkg-config zlib1g-dev
          googletest libgtest-dev libgmock-dev libbenchmark-dev
          clang libclang-rt-14-dev picojson-dev"

check_only=no
for arg in "$@"; do
    case "$arg" in
        --check) check_only=yes ;;
        -h|--help) sed -n '2,6p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "install-deps.sh: unknown option '$arg'" >&2; exit 2 ;;
    esac
done

missing=""
for p in $packages; do
    status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
    case "$status" in
        *"install ok installed"*) ;;
        *) missing="$missing $p" ;;
    esac
done

[ -z "$missing" ] && exit 0

if [ "$check_only" = yes ]; then
    echo "missing Debian packages:$missing"
    exit 1
fi

echo "Installing Debian packages:$missing"
if [ "$(id -u)" -eq 0 ]; then
    run=""
elif command -v sudo >/dev/null 2>&1; then
    run="sudo"
else
    echo "install-deps.sh: run as root (or install sudo) to install:$missing" >&2
    exit 1
fi
export DEBIAN_FRONTEND=noninteractive
$run apt-get update -q
# shellcheck disable=SC2086 # the list is meant to split into words
$run apt-get install -y -q --no-install-recommends $missing
