#!/bin/sh
# Installs the Debian packages the build and the tests need, when any is
# missing. Needs root (or sudo) only when there is something to install.
set -eu

packages="cmake make g++ clang libclang-rt-dev binutils libboost-dev libgtest-dev locales"

missing=""
for package in $packages; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $package"
    fi
done
[ -z "$missing" ] && exit 0

echo "Installing missing packages:$missing"
if [ "$(id -u)" -eq 0 ]; then
    sudo=""
elif command -v sudo >/dev/null 2>&1; then
    sudo="sudo"
else
    echo "error: not root and no sudo; install these packages:$missing" >&2
    exit 1
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
# shellcheck disable=SC2086
$sudo apt-get install -y -q --no-install-recommends $missing
