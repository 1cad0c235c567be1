#!/usr/bin/env bash
# Installs the four packages of DEB_DIR into a clean Debian 12 root, with
# apt as a user would (their dependencies come from the mirror), and checks
# them there: zelcfg --version, man -w zelcfg, the bash completion as
# bash-completion loads it, the shipped consumer example built through
# find_package(ZelConfig) and through pkg-config and run on the shipped CFG
# and XML samples, the API reference's pages and every file they link to.
# Then purges them and finds none of their files, and no other file, left
# behind.
# The base root (debootstrap's minbase with the consumer's compiler, CMake,
# pkg-config, man-db and bash-completion) is built once from the mirror apt
# uses here and kept in /var/cache/zelconfig-package-check.
# Usage (as root): check-installed-debs.sh DEB_DIR
set -euo pipefail

[ $# -eq 1 ] && [ -d "$1" ] || { echo "usage: $0 DEB_DIR" >&2; exit 2; }
[ "$(id -u)" = 0 ] || { echo "check-installed-debs: needs root (debootstrap, chroot)" >&2; exit 2; }
debs=$(cd "$1" && pwd)
fail() { echo "package-check: FAILED: $*" >&2; exit 1; }

cache=/var/cache/zelconfig-package-check
base=$cache/bookworm-consumer.tar
# shellcheck source=debian-root.sh
. "$(dirname "$0")/debian-root.sh"
if [ ! -s "$base" ]; then
    echo "package-check: building the clean Debian 12 root once (a few minutes; log: $cache/debootstrap.log)"
    mkdir -p "$cache"
    debian_base_root "$base" g++,make,cmake,pkgconf,man-db,bash-completion "$cache/debootstrap.log" ||
        fail "no clean Debian 12 root"
fi

root=$(mktemp -d /var/tmp/zelconfig-root.XXXXXX)
mounted=()
cleanup() {
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do umount -l "${mounted[$i]}" 2>/dev/null || true; done
    rm -rf --one-file-system "$root"
}
trap cleanup EXIT
tar -C "$root" -xf "$base"
cp /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true
for m in proc dev dev/pts; do mount --bind "/$m" "$root/$m" && mounted+=("$root/$m"); done
mkdir -p "$root/check/debs"
for package in libzelconfig1 libzelconfig-dev zelcfg libzelconfig-doc; do
    deb=$(find "$debs" -maxdepth 1 -name "${package}_*.deb" | head -n 1)
    [ -n "$deb" ] || fail "no ${package}_*.deb in $debs"
    cp "$deb" "$root/check/debs/"
done
version=$(dpkg-deb -f "$root"/check/debs/zelcfg_*.deb Version)

cat >"$root/check/run.sh" <<'INSIDE'
set -euo pipefail
version=$1
checks=0
fail() { echo "package-check: FAILED: $*" >&2; exit 1; }
pass() { checks=$((checks + 1)); echo "package-check: ok: $*"; }
# Every path of the system but those that the package manager, the caches and
# this check change anyway.
snapshot() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /root \
        -o -path /check -o -path /var/lib/dpkg -o -path /var/lib/apt -o -path /var/cache \
        -o -path /var/log -o -path /etc/ld.so.cache \) -prune -o -print | sort
}
snapshot >/check/before.txt
export DEBIAN_FRONTEND=noninteractive
apt-get update -q >/check/apt.log 2>&1 || { cat /check/apt.log; fail "apt-get update"; }
apt-get install -y -q --no-install-recommends /check/debs/*.deb >>/check/apt.log 2>&1 ||
    { cat /check/apt.log; fail "apt-get install of the packages"; }
pass "apt installs $(cd /check/debs && echo *.deb | sed 's/ /, /g') with their dependencies"

[ "$(zelcfg --version)" = "zelcfg $version" ] || fail "zelcfg --version prints '$(zelcfg --version)'"
pass "zelcfg --version prints zelcfg $version"
[ "$(man -w zelcfg)" = /usr/share/man/man1/zelcfg.1.gz ] || fail "man -w zelcfg: '$(man -w zelcfg 2>&1)'"
man zelcfg 2>/dev/null | grep -q "read, change and check configuration files" || fail "man zelcfg renders no NAME line"
pass "man -w zelcfg finds /usr/share/man/man1/zelcfg.1.gz, and man renders it"
# bash-completion loads the completion on demand, by the command's name.
offered=$(bash -c 'source /usr/share/bash-completion/bash_completion
    __load_completion zelcfg || exit 1
    COMP_WORDS=(zelcfg remove-b); COMP_CWORD=1; _zelcfg; echo "${COMPREPLY[*]}"') ||
    fail "bash-completion finds no completion for zelcfg"
[ "$offered" = remove-block ] || fail "the completion offers '$offered' for 'zelcfg remove-b'"
pass "bash-completion loads zelcfg's completion, which completes 'zelcfg remove-b' to remove-block"

examples=/usr/share/doc/libzelconfig-dev/examples
for sample in sample.cfg sample.xml; do
    out=$(zelcfg get "$examples/data/$sample" Net.Port) || fail "zelcfg get on $sample"
    [ "$out" = 80 ] || fail "zelcfg get Net.Port on $sample printed '$out'"
done
pass "zelcfg reads Net.Port from the shipped CFG and XML samples"

# A program's output on both samples: the value line, and nothing on stderr.
run_consumer() {
    local what=$1 program=$2 sample out
    for sample in sample.cfg sample.xml; do
        out=$("$program" "$examples/data/$sample" Net.Port 2>/tmp/stderr) || fail "$what on $sample: exit status $?"
        [ "$out" = Net.Port=80 ] || fail "$what on $sample printed '$out'"
        [ ! -s /tmp/stderr ] || fail "$what on $sample wrote on stderr: $(cat /tmp/stderr)"
    done
    pass "$what prints Net.Port=80 from the CFG and the XML sample (the plug-in found by the loader)"
}
cp -r "$examples/consumer" /tmp/consumer
flags="-Wall -Wextra -Wpedantic -Werror"
{ cmake -S /tmp/consumer -B /tmp/consumer-build -DCMAKE_CXX_FLAGS="$flags" &&
  cmake --build /tmp/consumer-build; } >/tmp/consumer.log 2>&1 ||
    { cat /tmp/consumer.log; fail "building the consumer through find_package(ZelConfig)"; }
grep -qx "ZelConfig_DIR:PATH=/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH 2>/dev/null ||
    gcc -print-multiarch)/cmake/ZelConfig" /tmp/consumer-build/CMakeCache.txt ||
    fail "find_package(ZelConfig) took another copy: $(grep ZelConfig_DIR /tmp/consumer-build/CMakeCache.txt)"
run_consumer "the consumer built through find_package(ZelConfig)" /tmp/consumer-build/print_value
# shellcheck disable=SC2046,SC2086
g++ -std=c++17 $flags /tmp/consumer/print_value.cpp -o /tmp/print_value-pkgconfig \
    $(pkg-config --cflags --libs zelconfig-logdefault) 2>/tmp/pkgconfig.log ||
    { cat /tmp/pkgconfig.log; fail "building the consumer through pkg-config"; }
run_consumer "the consumer built through pkg-config" /tmp/print_value-pkgconfig

# The API reference: its start page, and every page, style sheet, script and
# image its pages name is there (uncompressed, as a browser needs them).
reference=/usr/share/doc/libzelconfig-doc/html
[ -f $reference/index.html ] && [ -f $reference/classCZelConfigReader.html ] ||
    fail "no API reference in $reference"
missing=$(cd $reference && grep -oh '\(href\|src\)="[^"#?]*' ./*.html | sed 's/^[a-z]*="//' |
    grep -v '^[a-z]*:' | sort -u |
    while IFS= read -r target; do [ -z "$target" ] || [ -f "$target" ] || echo "$target"; done)
[ -z "$missing" ] || fail "files the API reference links to are missing: $missing"
pass "the API reference is in $reference, with every file its pages link to"

packages="libzelconfig1 libzelconfig-dev zelcfg libzelconfig-doc"
# shellcheck disable=SC2086
dpkg -L $packages | sort -u | while IFS= read -r path; do
    [ -d "$path" ] || echo "$path"
done >/check/files.txt
# shellcheck disable=SC2086
apt-get purge -y -q --autoremove $packages >>/check/apt.log 2>&1 || { cat /check/apt.log; fail "apt-get purge"; }
while IFS= read -r path; do
    [ ! -e "$path" ] && [ ! -L "$path" ] || fail "$path is left after the purge"
done </check/files.txt
snapshot >/check/after.txt
diff /check/before.txt /check/after.txt >/check/left.txt ||
    { cat /check/left.txt; fail "the system differs after the purge"; }
pass "apt-get purge --autoremove leaves none of their $(wc -l </check/files.txt) files, and nothing else"
echo "package-check: $checks passed in a clean Debian 12 root"
INSIDE

chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    LANG=C.UTF-8 TERM=dumb bash /check/run.sh "$version"
