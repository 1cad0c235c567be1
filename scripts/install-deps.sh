#!/bin/sh
# Installs the Debian packages the build and the tests need, when any is
# missing. Needs root (or sudo) only when there is something to install.
#   install-deps.sh         what the library, its tests and examples need
#   install-deps.sh bench   that, plus the benchmarks' peer libraries
#   install-deps.sh package that, plus what checks the installed package and the .deb
#   install-deps.sh cross   that, plus the aarch64 cross compiler and qemu to run its tests
#   install-deps.sh fuzz    that, plus libFuzzer for clang
#   install-deps.sh valgrind  that, plus valgrind for the memcheck run
set -eu

packages="cmake make g++ clang libclang-rt-dev binutils libboost-dev libgtest-dev libpugixml-dev locales"
# The peers the benchmarks compare with, and what finds them.
bench_packages="pkgconf libinih-dev libsimpleini-dev"
# pkg-config for the consumer's second build; dpkg-shlibdeps (dpkg-dev, file)
# for the .deb's dependencies.
package_packages="pkgconf dpkg-dev file"
# GoogleTest is built from libgtest-dev's sources in the cross build.
cross_packages="g++-aarch64-linux-gnu binutils-aarch64-linux-gnu qemu-user"
# libFuzzer's runtime comes with clang's runtime libraries.
fuzz_packages="libclang-rt-14-dev libfuzzer-14-dev"
valgrind_packages="valgrind"

for extra in "$@"; do
    case "$extra" in
        bench) packages="$packages $bench_packages" ;;
        package) packages="$packages $package_packages" ;;
        cross) packages="$packages $cross_packages" ;;
        fuzz) packages="$packages $fuzz_packages" ;;
        valgrind) packages="$packages $valgrind_packages" ;;
        *) echo "error: unknown package set: $extra (known: bench, package, cross, fuzz, valgrind)" >&2; exit 2 ;;
    esac
done

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
