#!/usr/bin/env bash
# Checks the Debian packages as Debian and a user get them:
#   1. builds them (scripts/build-deb.sh: dpkg-buildpackage -b -us -uc) in
#      OUT/one, the tests left out (CI runs them in its own builds);
#   2. lintian (Debian 12's default profile): any error or warning fails;
#   3. the ABI of the runtime package's libraries against abi/
#      (scripts/abi-check.sh);
#   4. builds them again in OUT/two, from a copy at another path, later, under
#      another umask and time zone, and requires byte-identical .deb files;
#   5. installs them into a clean Debian 12 root and checks them there
#      (scripts/check-installed-debs.sh; needs root, or sudo).
# Usage: package-check.sh [OUT]   (default: build-deb)
set -euo pipefail

scripts=$(cd "$(dirname "$0")" && pwd)
out=${1:-$(dirname "$scripts")/build-deb}
mkdir -p "$out"
out=$(cd "$out" && pwd)
fail() { echo "package-check: FAILED: $*" >&2; exit 1; }
export DEB_BUILD_OPTIONS="nocheck${DEB_BUILD_OPTIONS:+ $DEB_BUILD_OPTIONS}"

"$scripts/build-deb.sh" "$out/one" >/dev/null
echo "package-check: ok: dpkg-buildpackage built $(cd "$out/one" && echo *.deb)"

lintian --fail-on error,warning \
    "$out"/one/*.changes >"$out/lintian.txt" 2>&1 || { cat "$out/lintian.txt"; fail "lintian"; }
echo "package-check: ok: lintian reports no error and no warning"

"$scripts/abi-check.sh" check "$out/one/src/zelconfig"

# Another path (of another length), a later time, another umask and time zone.
(umask 0002 && TZ=Pacific/Kiritimati "$scripts/build-deb.sh" "$out/two" zelconfig-second-build >/dev/null)
for deb in "$out"/one/*.deb; do
    twin=$out/two/$(basename "$deb")
    [ -f "$twin" ] || fail "the second build made no $(basename "$deb")"
    cmp -s "$deb" "$twin" ||
        fail "$(basename "$deb") differs between two builds ($out/one, $out/two; diffoscope shows how)"
done
[ "$(cd "$out/one" && ls -- *.deb)" = "$(cd "$out/two" && ls -- *.deb)" ] ||
    fail "the two builds made different sets of packages"
echo "package-check: ok: a second build, elsewhere and later, made byte-identical packages"

if [ "$(id -u)" = 0 ]; then
    "$scripts/check-installed-debs.sh" "$out/one"
else
    sudo "$scripts/check-installed-debs.sh" "$out/one"
fi
