#!/usr/bin/env bash
# Prints what the built binaries cost on their target: the stripped text and
# data of libZelConfig, the document library, the XML plug-in and zelcfg, and
# how the libraries' object code divides among the layers (the object files
# of each src/ subfolder, each counted once, before the link shares the
# standard library's instantiations). Cross builds are read with their
# toolchain's strip and size.
# Usage: sizes.sh BUILD_DIR
set -euo pipefail

if [ $# -ne 1 ] || [ ! -f "$1/CMakeCache.txt" ]; then
    echo "usage: $0 BUILD_DIR (a configured and built tree)" >&2
    exit 2
fi
build=$(cd "$1" && pwd)
cache_value() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

strip_tool=$(cache_value CMAKE_STRIP)
strip_tool=${strip_tool:-strip}
# The toolchain's size sits beside its strip (aarch64-linux-gnu-size, ...).
size_tool=${strip_tool%strip}size
command -v "$size_tool" >/dev/null 2>&1 || size_tool=size
# The target's processor, as the toolchain file or the host set it.
processor=$(sed -n 's/^set(CMAKE_SYSTEM_PROCESSOR "\(.*\)")$/\1/p' \
                "$build"/CMakeFiles/*/CMakeSystem.cmake 2>/dev/null | head -n 1)
[ -n "$processor" ] || processor=$(uname -m)
build_type=$(cache_value CMAKE_BUILD_TYPE)

work=$(mktemp -d "${TMPDIR:-/tmp}/zelconfig-sizes.XXXXXX")
trap 'rm -rf "$work"' EXIT

# "text data" of FILE in bytes, as size's Berkeley format counts them.
text_data() { "$size_tool" "$@" | awk 'NR > 1 { text += $1; data += $2 } END { print text + 0, data + 0 }'; }

echo "Stripped sizes in bytes: $(basename "$build"), ${processor}, ${build_type:-no build type}"
printf '%-34s %9s %7s\n' "binary" "text" "data"
for name in libZelConfig.so libZelConfigDocument.so libZel_XMLConfigParser.so zelcfg; do
    file=""
    while IFS= read -r candidate; do
        # Only an ELF file: the manual page's stand-in is a script named zelcfg.
        if [ "$(head -c 4 "$candidate" | od -An -c | tr -d ' ')" = '177ELF' ]; then
            file=$candidate
            break
        fi
    done < <(find "$build" -name "$name*" -type f ! -name '*.a' ! -path '*/CMakeFiles/*' \
                 ! -path '*/package-check/*' ! -path '*/tests/*' -perm -u+x | sort)
    [ -n "$file" ] || continue
    "$strip_tool" -o "$work/stripped" "$file"
    read -r text data < <(text_data "$work/stripped")
    printf '%-34s %9d %7d\n' "$(basename "$file")" "$text" "$data"
done

# Of the object files read on stdin, those the build still makes: a source
# moved to another target leaves its old object behind.
current_objects() {
    if [ -f "$build/build.ninja" ]; then
        while IFS= read -r object; do
            grep -qF "build ${object#"$build"/}:" "$build/build.ninja" && echo "$object"
        done
    else
        cat
    fi
}

# The libraries' objects by layer, from the targets' object directories.
declare -A layers=([cfg]="engine" [adaptors]="adaptors" [frontend]="front ends"
                   [document]="document API" [platform]="platform")
total=0
declare -A sums=()
for folder in cfg adaptors frontend document platform; do
    mapfile -t objects < <(find "$build/CMakeFiles" -path "*/src/$folder/*.o" \
        \( -path '*/ZelConfig.dir/*' -o -path '*/ZelConfigDocument.dir/*' \
           -o -path '*/zelconfig_internal.dir/*' \) | sort | current_objects)
    sum=0
    if [ ${#objects[@]} -gt 0 ]; then
        read -r text data < <(text_data "${objects[@]}")
        sum=$((text + data))
    fi
    sums[$folder]=$sum
    total=$((total + sum))
done
echo
echo "The libraries' object code by layer (text + data of each src/ subfolder's objects)"
printf '%-34s %9s %7s\n' "layer" "bytes" "share"
for folder in cfg adaptors frontend document platform; do
    share=0
    [ "$total" -eq 0 ] || share=$(( (sums[$folder] * 1000 / total + 5) / 10 ))
    printf '%-34s %9d %6d%%\n' "${layers[$folder]} (src/$folder)" "${sums[$folder]}" "$share"
done
