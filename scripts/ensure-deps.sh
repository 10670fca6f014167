#!/bin/sh
# Makes sure the Debian packages the build and the tests need are installed.
# As root it installs what is missing; otherwise it names the command to run.
set -eu

packages="cmake ninja-build make g++ clang libclang-rt-14-dev libgtest-dev libbenchmark-dev
pkg-config locales libc-bin"

missing=""
for package in $packages; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $package"
    fi
done
[ -z "$missing" ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
    echo "Installing missing packages:$missing"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -q
    # shellcheck disable=SC2086
    apt-get install -y -q --no-install-recommends $missing
else
    echo "Missing Debian packages:$missing" >&2
    echo "Install them with: sudo apt-get install -y$missing" >&2
    exit 1
fi
