#!/usr/bin/env bash
# Compares the ABI of every shared library of the runtime package with the
# baseline kept in abi/ (one <SONAME>.abi each, written by abidw of Debian's
# abigail-tools), or writes those baselines anew.
#   abi-check.sh check  PACKAGE_TREE   fails when a library has no baseline, or
#                                      when abidiff finds a removed or changed
#                                      function, variable or symbol; additions pass
#   abi-check.sh update PACKAGE_TREE   writes abi/<SONAME>.abi for each library,
#                                      and removes the others
# Types the public headers only declare (a class's private implementation)
# are left out of the comparison, as abi/private-types.abignore lists them.
# PACKAGE_TREE is the tree dpkg-buildpackage built in (scripts/build-deb.sh's
# DEST/src/zelconfig): the runtime package's libraries are listed from
# debian/libzelconfig1 and read, with their debug information, from
# debian/tmp.
# A release that changes the ABI on purpose changes the SONAME, whose new
# baseline `make abi-baseline` writes.
set -euo pipefail

[ $# -eq 2 ] && { [ "$1" = check ] || [ "$1" = update ]; } ||
    { echo "usage: $0 check|update PACKAGE_TREE" >&2; exit 2; }
mode=$1
tree=$(cd "$2" && pwd)
baselines=$(cd "$(dirname "$0")/.." && pwd)/abi
runtime=$tree/debian/libzelconfig1
staged=$tree/debian/tmp
[ -d "$runtime" ] && [ -d "$staged" ] || { echo "abi-check: $tree holds no built packages" >&2; exit 2; }
fail() { echo "abi-check: FAILED: $*" >&2; exit 1; }

# What goes into a baseline: the exported functions and variables with every
# type they reach, public header or not (a class of the headers may hold one
# of the library's own, whose size then counts), without the paths or source
# lines of this build.
abidw_options=(--no-corpus-path --no-comp-dir-path --no-show-locs --exported-interfaces-only)

libraries=$(find "$runtime/usr/lib" -type f -name 'lib*.so*' | sort)
[ -n "$libraries" ] || fail "no shared library in $runtime"
mkdir -p "$baselines"
# abi/ holds the baselines of exactly the libraries of this build: one of a
# SONAME gone is dropped.
[ "$mode" = check ] || rm -f "$baselines"/*.abi
failed=0
for packaged in $libraries; do
    library=$staged/${packaged#"$runtime"/}
    soname=$(readelf -d "$library" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
    [ -n "$soname" ] || fail "$library has no SONAME"
    baseline=$baselines/$soname.abi
    if [ "$mode" = update ]; then
        abidw "${abidw_options[@]}" --out-file "$baseline" "$library" || fail "abidw $library"
        echo "abi-check: wrote abi/$soname.abi"
        continue
    fi
    if [ ! -f "$baseline" ]; then
        echo "abi-check: FAILED: no baseline abi/$soname.abi for $soname (a new library or SONAME: make abi-baseline)" >&2
        failed=1
        continue
    fi
    # Additions are compatible and not reported; whatever abidiff still
    # reports (exit status other than 0) is a removal or a change.
    status=0
    report=$(abidiff --no-added-syms --exported-interfaces-only --suppressions "$baselines/private-types.abignore" \
        "$baseline" "$library" 2>&1) || status=$?
    if [ $status -ne 0 ]; then
        echo "$report"
        echo "abi-check: FAILED: $soname differs from abi/$soname.abi (abidiff exit status $status)" >&2
        failed=1
    else
        echo "abi-check: ok: $soname keeps every function, variable and type of abi/$soname.abi"
    fi
done
exit $failed
