#!/bin/sh
# Installs the Debian packages the build and the tests need, when any is
# missing. Needs root (or sudo) only when there is something to install.
#   install-deps.sh         what the library, its tests and examples need
#   install-deps.sh bench   that, plus the benchmarks' peer libraries
#   install-deps.sh package that, plus what builds the Debian packages (the
#                           Build-Depends of debian/control) and checks them
#   install-deps.sh cross   that, plus the aarch64 cross compiler, the target's
#                           pugixml (dpkg's arm64 architecture) and qemu to run its tests
#   install-deps.sh cross-armhf  the same for 32-bit ARM (dpkg's armhf architecture)
#   install-deps.sh libcxx  that, plus LLVM's libc++ for clang (GoogleTest is
#                           built from libgtest-dev's sources)
#   install-deps.sh docs    that, plus Doxygen for the API reference
#   install-deps.sh fuzz    that, plus libFuzzer for clang
#   install-deps.sh valgrind  that, plus valgrind for the memcheck run
# Every set also gets the de_DE.UTF-8 locale, which the locale test runs under.
# apt's and locale-gen's output goes to a log, shown only when they fail.
set -eu

# llvm puts llvm-symbolizer on the PATH, so that the sanitizers' reports name
# functions and lines instead of bare addresses. help2man makes zelcfg's
# manual page from its --help text. Ninja is the generator of every preset.
# acl's setfacl gives the save tests' files an ACL to keep. python3's
# configparser is the INI dialect's reference (tests/ini_reference.py).
packages="cmake ninja-build make g++ clang libclang-rt-dev llvm binutils libboost-dev libgtest-dev libpugixml-dev locales help2man acl python3"
# The peers the benchmarks compare with, and what finds them.
bench_packages="pkgconf libinih-dev libsimpleini-dev"
# The Debian packages' build: dpkg-buildpackage (dpkg-dev), build-essential
# (which every package build needs without naming it) and the build
# dependencies of debian/control (debhelper-compat is debhelper's); their
# checks: lintian, abidiff (abigail-tools), debootstrap for the clean root,
# pkg-config for the staging install's consumer.
package_packages="pkgconf dpkg-dev build-essential lintian abigail-tools debootstrap"

# The names of debian/control's Build-Depends, one a line: the first of each
# set of alternatives, without versions, architectures (":any" included) or build
# profiles.
control_build_depends() {
    sed -n '/^Build-Depends[^:]*:/,/^[^ \t]/{
        /^Build-Depends[^:]*:/{s/^[^:]*://;p;d}
        /^[ \t]/p
    }' "$1" | tr ',' '\n' | sed 's/|.*//; s/[[(<].*//; s/:any//; s/[[:space:]]//g' | grep -v '^$' |
        sed 's/^debhelper-compat$/debhelper/'
}
# GoogleTest is built from libgtest-dev's sources in the cross build; the XML
# plug-in links the target's pugixml, from Debian's arm64 architecture.
cross_packages="g++-aarch64-linux-gnu binutils-aarch64-linux-gnu qemu-user
    libpugixml-dev:arm64 libpugixml1v5:arm64"
cross_armhf_packages="g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf qemu-user
    libpugixml-dev:armhf libpugixml1v5:armhf"
libcxx_packages="libc++-dev libc++abi-dev"
# libFuzzer's runtime comes with clang's runtime libraries.
fuzz_packages="libclang-rt-14-dev libfuzzer-14-dev"
valgrind_packages="valgrind"
docs_packages="doxygen"

for extra in "$@"; do
    case "$extra" in
        bench) packages="$packages $bench_packages" ;;
        package) packages="$packages $package_packages $(control_build_depends "$(dirname "$0")/../debian/control")" ;;
        cross) packages="$packages $cross_packages" ;;
        cross-armhf) packages="$packages $cross_armhf_packages" ;;
        libcxx) packages="$packages $libcxx_packages" ;;
        fuzz) packages="$packages $fuzz_packages" ;;
        valgrind) packages="$packages $valgrind_packages" ;;
        docs) packages="$packages $docs_packages" ;;
        *) echo "error: unknown package set: $extra (known: bench, package, cross, cross-armhf, libcxx, fuzz, valgrind, docs)" >&2; exit 2 ;;
    esac
done

# Each name once, in its first place.
packages=$(echo "$packages" | tr -s ' \n' '\n\n' | awk 'NF && !seen[$0]++' | tr '\n' ' ')
missing=""
for package in $packages; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $package"
    fi
done
# A system-wide locale rather than one built under LOCPATH: glibc keeps a
# LOCPATH search list for good, which the leak checkers rightly report.
test_locale="de_DE.UTF-8"
need_locale=0
locale -a 2>/dev/null | grep -qix 'de_DE\.utf-\?8' || need_locale=1
[ -z "$missing" ] && [ $need_locale = 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
    sudo=""
elif command -v sudo >/dev/null 2>&1; then
    sudo="sudo"
else
    [ -n "$missing" ] && echo "error: not root and no sudo; install these packages:$missing" >&2
    [ $need_locale = 1 ] && echo "error: not root and no sudo; generate the $test_locale locale" >&2
    exit 1
fi
log=$(mktemp "${TMPDIR:-/tmp}/install-deps.XXXXXX")
trap 'rm -f "$log"' EXIT
quietly() {
    "$@" >>"$log" 2>&1 || { cat "$log" >&2; echo "error: failed: $*" >&2; exit 1; }
}

if [ -n "$missing" ]; then
    echo "Installing missing packages:$missing"
    export DEBIAN_FRONTEND=noninteractive
    # A package of another architecture ("name:arm64") needs that architecture
    # enabled before apt-get update fetches its lists.
    for package in $missing; do
        case "$package" in
            *:*) arch=${package##*:}
                 dpkg --print-foreign-architectures | grep -qx "$arch" ||
                     quietly $sudo dpkg --add-architecture "$arch" ;;
        esac
    done
    # Another install running beside this one (a second make target, say)
    # holds apt's locks: wait for it rather than fail.
    wait_lock="-o DPkg::Lock::Timeout=600"
    # A mirror caught mid-sync fails one index (seen for a security suite of a
    # foreign architecture) while the others are fine: go on with what was
    # fetched and let the install say whether a package is really missing.
    # shellcheck disable=SC2086
    $sudo apt-get $wait_lock update -q >>"$log" 2>&1 ||
        echo "warning: apt-get update failed in part; installing from the lists it has" >&2
    # shellcheck disable=SC2086
    quietly $sudo apt-get $wait_lock install -y -q --no-install-recommends $missing
fi
if [ $need_locale = 1 ]; then
    echo "Generating the $test_locale locale"
    # Through /etc/locale.gen, so that a later locale-gen keeps it.
    if grep -q "^# *$test_locale UTF-8\$" /etc/locale.gen; then
        quietly $sudo sed -i "s/^# *\($test_locale UTF-8\)\$/\1/" /etc/locale.gen
    elif ! grep -q "^$test_locale UTF-8\$" /etc/locale.gen; then
        echo "$test_locale UTF-8" | quietly $sudo tee -a /etc/locale.gen
    fi
    quietly $sudo locale-gen
fi
