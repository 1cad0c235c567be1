#!/usr/bin/env bash
# Builds the Debian packages from this source tree as Debian does
# (dpkg-buildpackage -b -us -uc), in a copy of the tree under DEST so that
# dpkg-buildpackage's files, which it writes beside the source, stay there too.
# The .deb files (with the -dbgsym ones), the .changes and the .buildinfo end
# in DEST.
#   build-deb.sh DEST [NAME]   NAME: the copy's folder (default: zelconfig)
# DEB_BUILD_OPTIONS passes through (nocheck leaves the tests out).
set -euo pipefail

[ $# -ge 1 ] && [ $# -le 2 ] || { echo "usage: $0 DEST [NAME]" >&2; exit 2; }
source_dir=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$1"
dest=$(cd "$1" && pwd)
copy=$dest/src/${2:-zelconfig}

rm -rf "$dest/src" "$dest"/*.deb "$dest"/*.changes "$dest"/*.buildinfo
mkdir -p "$copy"
# The files git knows of (committed or not, ignored ones left out), else
# everything but the build trees. Copied as new files (tar -m): the packages
# date every file newer than debian/changelog's entry at that entry, so none
# keeps the time of the checkout it came from.
if git -C "$source_dir" rev-parse --show-toplevel >/dev/null 2>&1; then
    (cd "$source_dir" && git ls-files -z --cached --others --exclude-standard |
        while IFS= read -r -d '' file; do [ -e "$file" ] && printf '%s\0' "$file"; done |
        tar --null -T - -cf -) | tar -C "$copy" -xmf -
else
    tar -C "$source_dir" --exclude='./build*' --exclude=./.git -cf - . | tar -C "$copy" -xmf -
fi

log=$dest/build.log
echo "build-deb: dpkg-buildpackage -b -us -uc in $copy (log: $log)"
(cd "$copy" && dpkg-buildpackage -b -us -uc) >"$log" 2>&1 ||
    { tail -n 40 "$log"; echo "build-deb: dpkg-buildpackage failed (log: $log)" >&2; exit 1; }
mv "$dest/src"/*.deb "$dest/src"/*.changes "$dest/src"/*.buildinfo "$dest/"
ls "$dest"/*.deb
