#!/usr/bin/env bash
# Checks the Debian package as a user gets it, from a configured and built
# tree whose CTest checks (label package: the staging install, its consumers)
# have passed: builds the .deb with CPack, checks its contents and builds the
# consumer against the unpacked package; and, when the tree builds the XML
# plug-in, that the .deb ships it exporting its three factories only, and
# that the consumer reads an XML file through it.
# Usage: package-check.sh BUILD_DIR   (configured with -DCMAKE_INSTALL_PREFIX=/usr)
set -euo pipefail

if [ $# -ne 1 ] || [ ! -f "$1/CMakeCache.txt" ]; then
    echo "usage: $0 BUILD_DIR (a configured and built tree)" >&2
    exit 2
fi
build=$(cd "$1" && pwd)
source_dir=$(cd "$(dirname "$0")/.." && pwd)
work=$build/package-check/deb-check
sample=$source_dir/examples/data/sample.cfg
key=Net.Port
expected="Net.Port=80"

checks=0
fail() { echo "package-check: FAILED: $*" >&2; exit 1; }
pass() { checks=$((checks + 1)); echo "package-check: ok: $*"; }
cache_value() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

version=$(cache_value CMAKE_PROJECT_VERSION)
libdir=$(cache_value CMAKE_INSTALL_LIBDIR)
includedir=$(cache_value CMAKE_INSTALL_INCLUDEDIR)
bindir=$(cache_value CMAKE_INSTALL_BINDIR)
# GNUInstallDirs leaves a directory empty in the cache when it derives it
# from DATAROOTDIR.
datarootdir=$(cache_value CMAKE_INSTALL_DATAROOTDIR)
datadir=$(cache_value CMAKE_INSTALL_DATADIR)
mandir=$(cache_value CMAKE_INSTALL_MANDIR)
docdir=$(cache_value CMAKE_INSTALL_DOCDIR)
completion=${datadir:-$datarootdir}/bash-completion/completions/zelcfg
mandir=${mandir:-$datarootdir/man}
# The manual page is made only when help2man was found.
help2man=$(cache_value ZELCONFIG_HELP2MAN | grep -v NOTFOUND || true)
[ -n "$version" ] && [ -n "$libdir" ] || fail "no version or libdir in $build/CMakeCache.txt"
major=${version%%.*}
# The tool and the XML plug-in are checked only when this tree builds them.
tool=$(find "$build" -path "$build/package-check" -prune -o -type f -name zelcfg -perm -u+x -print | head -n 1)
plugin=$(find "$build" -path "$build/package-check" -prune -o -type f -name libZel_XMLConfigParser.so -print | head -n 1)
sample_xml=$source_dir/examples/data/sample.xml
consumer=$source_dir/examples/consumer

rm -rf "$work"
mkdir -p "$work"

# Runs a consumer: stdout must be exactly the value line, and stderr empty
# (the default logger is quiet on a normal run); asked through
# ZELCONFIG_LOG_MASK, it shows the detach of a CZelConfigParser at level 9.
# SAMPLE (default: the CFG sample) names another file, e.g. the XML one, whose
# writer back end names itself in that line.
run_consumer() {
    local what=$1
    shift
    local file=${SAMPLE:-$sample} out err
    local backend=cfg
    [[ $file == *.xml ]] && backend=xml
    out=$(ZELCONFIG_LOG_MASK= "$@" "$file" "$key" 2>"$work/stderr") || fail "$what: exit status $?"
    err=$(cat "$work/stderr")
    [ "$out" = "$expected" ] || fail "$what: printed '$out', expected '$expected'"
    [ -z "$err" ] || fail "$what: the default logger is not quiet: '$err'"
    ZELCONFIG_LOG_MASK=0x200 "$@" "$file" "$key" >/dev/null 2>"$work/stderr" \
        || fail "$what: exit status $? with ZELCONFIG_LOG_MASK"
    err=$(cat "$work/stderr")
    grep -q "^ZelConfig\\[9\\] .*Data Pointer not set in $backend writer" <<<"$err" \
        || fail "$what: ZELCONFIG_LOG_MASK=0x200 shows no level-9 line on stderr: '$err'"
    pass "$what prints $expected${SAMPLE:+ from $(basename "$file")}, its logger quiet unless asked"
}

# The installed plug-in: its exports, and the library it needs beside pugixml.
check_plugin() {
    local file=$1
    [ -f "$file" ] || fail "no $file"
    local exports
    exports=$(nm -D --defined-only "$file" | awk '{print $3}' | sort | paste -sd' ')
    [ "$exports" = "GetCXMLReaderObject GetCXMLWriterObject GetCXMLWriterObjectNoParam" ] \
        || fail "$file exports '$exports', not the three factories"
    readelf -d "$file" | grep -q "NEEDED.*\\[libZelConfig\\.so\\.$major\\]" \
        || fail "$file does not need libZelConfig.so.$major"
    ! readelf -d "$file" | grep -q "$build" || fail "$file keeps a run path into the build tree"
}

installed_headers=$(cd "$source_dir/include" && ls -- *.h)

# --- Debian package ---------------------------------------------------------
cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work/deb" >"$work/cpack.log" 2>&1 \
    || { cat "$work/cpack.log"; fail "cpack -G DEB"; }
deb=$(find "$work/deb" -maxdepth 1 -name '*.deb' | head -n 1)
[ -n "$deb" ] || fail "cpack made no .deb"
dpkg-deb -c "$deb" >"$work/deb-contents.txt"
contains() {
    grep -Eq -- "$1" "$work/deb-contents.txt" || fail "$(basename "$deb") has no $2"
}
usr_lib="\./usr/$libdir"
contains " $usr_lib/libZelConfig\.so\.$version\$" "libZelConfig.so.$version"
contains " $usr_lib/libZelConfig\.so\.$major -> libZelConfig\.so\.$version\$" "SONAME link"
contains " $usr_lib/libZelConfig\.so -> libZelConfig\.so\.$major\$" "development link"
contains " $usr_lib/libZelConfigDocument\.so\.$major -> libZelConfigDocument\.so\.$version\$" "document library"
contains " $usr_lib/libZelLogDefault\.a\$" "default logger"
for header in $installed_headers; do
    contains " \./usr/$includedir/zelconfig/$header\$" "$header"
done
contains " $usr_lib/cmake/ZelConfig/ZelConfigConfig\.cmake\$" "CMake package"
contains " $usr_lib/pkgconfig/zelconfig\.pc\$" "zelconfig.pc"
contains " $usr_lib/pkgconfig/zelconfig-document\.pc\$" "zelconfig-document.pc"
if [ -n "$tool" ]; then
    contains "^-rwx.* \./usr/$bindir/zelcfg\$" "executable zelcfg"
    contains " \./usr/$completion\$" "bash completion"
    contains " \./usr/$docdir/cli\.md\$" "docs/cli.md"
    [ -z "$help2man" ] || contains " \./usr/$mandir/man1/zelcfg\.1\.gz\$" "manual page"
fi
if [ -n "$plugin" ]; then
    contains " $usr_lib/libZel_XMLConfigParser\\.so\$" "XML plug-in"
    grep -q 'libpugixml' <<<"$(dpkg-deb -f "$deb" Depends)" || fail "Depends lacks pugixml's library"
fi
grep -q 'libstdc++6' <<<"$(dpkg-deb -f "$deb" Depends)" || fail "Depends lacks libstdc++6"
pass "$(basename "$deb") holds the library with its links, headers, logger, package files${tool:+, zelcfg with its completion, guides${help2man:+ and manual page}}${plugin:+, the XML plug-in}"

# The unpacked package serves a consumer as well as the staging install did.
dpkg-deb -x "$deb" "$work/deb-root"
cmake -S "$consumer" -B "$work/consumer-deb" -DCMAKE_PREFIX_PATH="$work/deb-root/usr" \
    >"$work/consumer-deb.log" && cmake --build "$work/consumer-deb" >>"$work/consumer-deb.log" \
    || { cat "$work/consumer-deb.log"; fail "building the consumer against the unpacked .deb"; }
run_consumer "consumer of the unpacked .deb" "$work/consumer-deb/print_value"
if [ -n "$plugin" ]; then
    check_plugin "$work/deb-root/usr/$libdir/libZel_XMLConfigParser.so"
    LD_LIBRARY_PATH=$work/deb-root/usr/$libdir SAMPLE=$sample_xml \
        run_consumer "consumer of the unpacked .deb" "$work/consumer-deb/print_value"
fi

echo "package-check: $checks passed, 0 failed"
