#!/bin/sh
# Builds the API reference from the public headers with Doxygen
# (docs/api/Doxyfile) into OUT/html, and fails on any warning: a public
# class, function, variable or enumerator without documentation, a broken
# reference, a problem of the configuration. This Doxygen (Debian 12's 1.9.4)
# does not warn of enumerators without documentation, so the script finds
# them in the XML output itself.
#   make-docs.sh [OUT]   (default: build-docs)
# docs/api/known-warnings.txt may list warnings that are tolerated for now,
# one a line as Doxygen writes them, without the line number ("FILE: warning:
# ..."); the list should be empty, and a listed warning that no longer comes
# fails too, so that the list only shrinks.
set -eu

source_dir=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$source_dir/build-docs}
mkdir -p "$out"
out=$(cd "$out" && pwd)
command -v doxygen >/dev/null || { echo "make-docs: doxygen is not installed (scripts/install-deps.sh docs)" >&2; exit 2; }
version=$(sed -n 's/^project(ZelConfig VERSION \([0-9.]*\).*/\1/p' "$source_dir/CMakeLists.txt")
[ -n "$version" ] || { echo "make-docs: no project version in CMakeLists.txt" >&2; exit 2; }

rm -rf "$out/html" "$out/xml"
rm -f "$out/warnings.txt" "$out/doxygen.log"
# Relative paths from the top of the tree, so that the pages name no
# directory of the build machine.
cd "$source_dir"
ZELCONFIG_VERSION=$version ZELCONFIG_DOCS_OUT=$out doxygen docs/api/Doxyfile >"$out/doxygen.log" 2>&1 ||
    { cat "$out/doxygen.log"; echo "make-docs: doxygen failed" >&2; exit 1; }

# Every warning, with paths from the top of the tree: Doxygen's own, what it
# printed (configuration problems), and each enumerator whose description is
# empty, at its enumeration's place.
found=$out/found-warnings.txt
{
    cat "$out/warnings.txt"
    cat "$out/doxygen.log"
    for xml in "$out"/xml/*.xml; do
        awk '
            /<memberdef kind="enum"/ { inEnum = 1 }
            inEnum && /<qualifiedname>/ && !enumName {
                enumName = $0; gsub(/.*<qualifiedname>|<\/qualifiedname>.*/, "", enumName)
            }
            /<enumvalue / { inValue = 1; documented = 0; name = "" }
            inValue && /<name>/ && name == "" { name = $0; gsub(/.*<name>|<\/name>.*/, "", name) }
            inValue && /<para>/ { documented = 1 }
            /<\/enumvalue>/ {
                if (!documented) { missing[++count] = name }
                inValue = 0
            }
            inEnum && /<location file=/ {
                file = $0; sub(/.*file="/, "", file); sub(/".*/, "", file)
                if (file !~ /\//) { file = "include/" file }
                line = $0; sub(/.*[ \t]line="/, "", line); sub(/".*/, "", line)
                for (i = 1; i <= count; i++) {
                    printf "%s:%s: warning: Enumerator %s of %s is not documented.\n", file, line, missing[i], enumName
                }
                count = 0; inEnum = 0; enumName = ""
            }
        ' "$xml"
    done
} | sed "s|$source_dir/||g" | sort -u >"$found"

# Line numbers left out, so that an edit above a tolerated warning keeps it tolerated.
sed 's/^\([^:]*\):[0-9]*: /\1: /' "$found" | sort -u >"$out/found-unnumbered.txt"
known=$source_dir/docs/api/known-warnings.txt
if [ -f "$known" ]; then
    grep -v '^#' "$known" | grep -v '^$' >"$out/known.txt" || true
else
    : >"$out/known.txt"
fi
failed=0
new=$(grep -vxF -f "$out/known.txt" "$out/found-unnumbered.txt") || true
if [ -n "$new" ]; then
    echo "$new"
    echo "make-docs: FAILED: Doxygen warns (above); document what it names" >&2
    failed=1
fi
gone=$(grep -vxF -f "$out/found-unnumbered.txt" "$out/known.txt") || true
if [ -n "$gone" ]; then
    echo "$gone"
    echo "make-docs: FAILED: these warnings of docs/api/known-warnings.txt no longer come: remove them" >&2
    failed=1
fi
[ $failed = 0 ] || exit 1
if [ -s "$out/known.txt" ]; then
    echo "make-docs: $(wc -l <"$out/known.txt") warnings tolerated for now by docs/api/known-warnings.txt"
fi
echo "make-docs: the API reference of ZelConfig $version is in $out/html/index.html"
