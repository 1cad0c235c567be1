#!/usr/bin/env bash
# Checks the package as a user gets it, from a configured and built tree:
#   1. installs it into a staging prefix and checks what landed there, each
#      public header compiling on its own, zelcfg's manual page rendering;
#   2. builds examples/consumer through find_package(ZelConfig) and again
#      through pkg-config with a plain g++ command line, and runs both on
#      examples/data/sample.cfg;
#   3. builds the .deb with CPack, checks its contents and builds the consumer
#      against the unpacked package;
#   and, when the tree builds the XML plug-in, that it is installed and
#   shipped exporting its three factories only, and that the installed
#   consumer and zelcfg read (and zelcfg changes) an XML file through it.
# Usage: package-check.sh BUILD_DIR   (configured with -DCMAKE_INSTALL_PREFIX=/usr)
set -euo pipefail

if [ $# -ne 1 ] || [ ! -f "$1/CMakeCache.txt" ]; then
    echo "usage: $0 BUILD_DIR (a configured and built tree)" >&2
    exit 2
fi
build=$(cd "$1" && pwd)
source_dir=$(cd "$(dirname "$0")/.." && pwd)
work=$build/package-check
stage=$work/stage
sample=$source_dir/examples/data/sample.cfg
key=Net.Port
expected="Net.Port=80"
cxxflags=(-std=c++17 -Wall -Wextra -Wpedantic -Werror)

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
tool=$(find "$build" -path "$work" -prune -o -type f -name zelcfg -perm -u+x -print | head -n 1)
plugin=$(find "$build" -path "$work" -prune -o -type f -name libZel_XMLConfigParser.so -print | head -n 1)
sample_xml=$source_dir/examples/data/sample.xml

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

# --- 1. Staging install -----------------------------------------------------
cmake --install "$build" --prefix "$stage" >"$work/install.log"

lib=$stage/$libdir
[ -f "$lib/libZelConfig.so.$version" ] || fail "no $libdir/libZelConfig.so.$version"
[ "$(readlink "$lib/libZelConfig.so.$major")" = "libZelConfig.so.$version" ] \
    || fail "libZelConfig.so.$major does not link to libZelConfig.so.$version"
[ "$(readlink "$lib/libZelConfig.so")" = "libZelConfig.so.$major" ] \
    || fail "libZelConfig.so does not link to libZelConfig.so.$major"
readelf -d "$lib/libZelConfig.so.$version" | grep -q "Library soname: \[libZelConfig.so.$major\]" \
    || fail "SONAME of the installed library is not libZelConfig.so.$major"
[ -f "$lib/libZelLogDefault.a" ] || fail "no $libdir/libZelLogDefault.a"
pass "library, SONAME links and default logger installed in $libdir"

# Exactly the headers of include/, each one usable on its own.
expected_headers=$(cd "$source_dir/include" && ls -- *.h)
installed_headers=$(cd "$stage/$includedir/zelconfig" && ls)
[ "$installed_headers" = "$expected_headers" ] \
    || fail "installed headers differ from include/: $(echo $installed_headers)"
for header in $installed_headers; do
    printf '#include <%s>\n#include <%s>\n' "$header" "$header" \
        | g++ "${cxxflags[@]}" -fsyntax-only -I"$stage/$includedir/zelconfig" -x c++ - \
        || fail "$header does not compile on its own"
done
pass "$(echo "$installed_headers" | wc -l) public headers installed, each self-sufficient"

for file in cmake/ZelConfig/ZelConfigConfig.cmake cmake/ZelConfig/ZelConfigConfigVersion.cmake \
            pkgconfig/zelconfig.pc pkgconfig/zelconfig-logdefault.pc; do
    [ -f "$lib/$file" ] || fail "no $libdir/$file"
done
pass "CMake package and pkg-config files installed"

if [ -n "$tool" ]; then
    [ -x "$stage/$bindir/zelcfg" ] || fail "the build has zelcfg but $bindir/zelcfg is not installed"
    pass "zelcfg installed in $bindir"
    [ -f "$stage/$completion" ] || fail "no $completion"
    bash -n "$stage/$completion" || fail "$completion is not valid bash"
    pass "zelcfg's bash completion installed in $(dirname "$completion")"
    [ -f "$stage/$docdir/cli.md" ] || fail "no $docdir/cli.md"
    pass "the guides installed in $docdir"
    if [ -n "$help2man" ]; then
        page=$stage/$mandir/man1/zelcfg.1.gz
        [ -f "$page" ] || fail "no $mandir/man1/zelcfg.1.gz"
        gzip -t "$page" || fail "$mandir/man1/zelcfg.1.gz is not gzip data"
        if command -v man >/dev/null 2>&1; then
            MANWIDTH=80 man -l "$page" >"$work/man.txt" 2>"$work/man.err" \
                || fail "man -l cannot render zelcfg.1.gz: $(cat "$work/man.err")"
            grep -q 'zelcfg - read, change and check configuration files' "$work/man.txt" \
                || fail "the manual page has no NAME line for zelcfg"
            # Every command of --help is in the page, the one text of both.
            for command in $(sed -n '/^Commands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' \
                                 "$source_dir/tools/zelcfg/usage.txt" | sort -u); do
                grep -q "^ *$command FILE" "$work/man.txt" || fail "the manual page lacks '$command'"
            done
            [ "$(MANPATH=$stage/$mandir man -w zelcfg)" = "$page" ] \
                || fail "man -w with MANPATH=$stage/$mandir does not find zelcfg.1.gz"
            pass "man renders zelcfg.1.gz, with every command of usage.txt, and finds it through MANPATH"
        else
            pass "zelcfg.1.gz installed in $mandir/man1 (man is not installed: not rendered)"
        fi
    else
        echo "package-check: note: the build found no help2man, so there is no manual page to check"
    fi
fi

if [ -n "$plugin" ]; then
    check_plugin "$lib/libZel_XMLConfigParser.so"
    pass "XML plug-in installed in $libdir, exporting its three factories only"
fi

# --- 2. Consumers -----------------------------------------------------------
consumer=$source_dir/examples/consumer
cmake -S "$consumer" -B "$work/consumer-cmake" -DCMAKE_PREFIX_PATH="$stage" \
    -DCMAKE_CXX_FLAGS="${cxxflags[*]:1}" >"$work/consumer-cmake.log" \
    || { cat "$work/consumer-cmake.log"; fail "configuring the CMake consumer"; }
found=$(sed -n 's/^ZelConfig_DIR:PATH=//p' "$work/consumer-cmake/CMakeCache.txt")
[ "$found" = "$lib/cmake/ZelConfig" ] || fail "the CMake consumer found ZelConfig in '$found'"
cmake --build "$work/consumer-cmake" >"$work/consumer-cmake-build.log" \
    || { cat "$work/consumer-cmake-build.log"; fail "building the CMake consumer"; }
run_consumer "CMake consumer" "$work/consumer-cmake/print_value"

# SameMajorVersion: another major version, older or newer, is refused by the
# very config file that the current one is taken from.
refused="$((major + 1)).0"
[ "$major" -gt 0 ] && refused="$refused $((major - 1)).0"
mkdir -p "$work/version-check"
{
    echo "cmake_minimum_required(VERSION 3.16)"
    echo "project(VersionCheck LANGUAGES NONE)"
    for other in $refused; do
        echo "find_package(ZelConfig $other QUIET PATHS \"$lib/cmake/ZelConfig\" NO_DEFAULT_PATH)"
        echo "if(ZelConfig_FOUND)"
        echo "  message(FATAL_ERROR \"ZelConfig $version accepted for version $other\")"
        echo "endif()"
        echo "unset(ZelConfig_DIR CACHE)"
    done
    echo "find_package(ZelConfig $major.0 REQUIRED PATHS \"$lib/cmake/ZelConfig\" NO_DEFAULT_PATH)"
} >"$work/version-check/CMakeLists.txt"
cmake -S "$work/version-check" -B "$work/version-check/build" >"$work/version-check.log" 2>&1 \
    || { cat "$work/version-check.log"; fail "version check"; }
pass "find_package takes version $major.0 and refuses $refused"

export PKG_CONFIG_PATH=$lib/pkgconfig
[ "$(pkg-config --modversion zelconfig)" = "$version" ] || fail "zelconfig.pc is not version $version"
# shellcheck disable=SC2046
g++ "${cxxflags[@]}" "$consumer/print_value.cpp" -o "$work/print_value-pkgconfig" \
    $(pkg-config --cflags --libs zelconfig-logdefault) || fail "building the pkg-config consumer"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir zelconfig) \
    run_consumer "pkg-config consumer" "$work/print_value-pkgconfig"
if [ -n "$plugin" ]; then
    # The plug-in is found through the library search path, as on the target.
    LD_LIBRARY_PATH=$lib SAMPLE=$sample_xml run_consumer "CMake consumer" "$work/consumer-cmake/print_value"
    if [ -n "$tool" ]; then
        zelcfg_xml() { LD_LIBRARY_PATH=$lib "$stage/$bindir/zelcfg" "$@"; }
        cp "$sample_xml" "$work/copy.xml"
        zelcfg_xml set "$work/copy.xml" Net.Port 8080 || fail "installed zelcfg cannot set Net.Port in an XML copy"
        [ "$(zelcfg_xml get --type int "$work/copy.xml" Net.Port)" = 8080 ] \
            || fail "installed zelcfg does not read back Net.Port=8080"
        [ "$(sed 's|<Port>8080</Port>|<Port>80</Port>|' "$work/copy.xml")" = "$(cat "$sample_xml")" ] \
            || fail "the XML save changed more than the value"
        pass "installed zelcfg sets and gets Net.Port in an XML copy, changing only its bytes"
    fi
fi

# An application with a logger of its own: the installed ZelConfigLog.h
# declares what it defines, and zelconfig alone links the library.
cat >"$work/own_log.cpp" <<'EOF_LOG'
#include <cstdio>

#include <ZelConfigLog.h>

TovLogParams g_TovLogParams = {1u << 9};

void ZelLog(int, int level, const char* function, const char* format, ...)
{
    std::fprintf(stderr, "own logger: %d %s %s\n", level, function, format);
}
EOF_LOG
# shellcheck disable=SC2046
g++ "${cxxflags[@]}" "$consumer/print_value.cpp" "$work/own_log.cpp" -o "$work/print_value-own-log" \
    $(pkg-config --cflags --libs zelconfig) || fail "building a consumer with its own logger"
out=$(LD_LIBRARY_PATH=$(pkg-config --variable=libdir zelconfig) \
      "$work/print_value-own-log" "$sample" "$key" 2>"$work/stderr") \
    || fail "consumer with its own logger: exit status $?"
[ "$out" = "$expected" ] || fail "consumer with its own logger printed '$out'"
grep -qx 'own logger: 9 SetDataPtr Data Pointer not set in cfg writer' "$work/stderr" \
    || fail "the library did not call the consumer's own logger: '$(cat "$work/stderr")'"
pass "a consumer's own logger, declared by ZelConfigLog.h, receives the library's calls"
unset PKG_CONFIG_PATH

# --- 3. Debian package ------------------------------------------------------
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
contains " $usr_lib/libZelLogDefault\.a\$" "default logger"
for header in $installed_headers; do
    contains " \./usr/$includedir/zelconfig/$header\$" "$header"
done
contains " $usr_lib/cmake/ZelConfig/ZelConfigConfig\.cmake\$" "CMake package"
contains " $usr_lib/pkgconfig/zelconfig\.pc\$" "zelconfig.pc"
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
