#!/bin/sh
# Fails when a program or shared library under the build tree has an empty
# entry in its run path: the loader reads it as the current directory, so
# the program would load a library of that name from wherever it is run.
# usage: check_runpath.sh READELF BUILD_DIR
set -eu
readelf=$1
status=0
checked=0
for file in $(find "$2" -type f \( -perm -u+x -o -name '*.so*' \) ! -path '*/CMakeFiles/*'); do
    head -c 4 "$file" | grep -q 'ELF' || continue
    checked=$((checked + 1))
    path=$("$readelf" -d "$file" | sed -n 's/.*(R[UN]*PATH).*\[\(.*\)\]$/\1/p')
    case ":$path:" in
        ::) ;;
        *::*) echo "empty run path entry in $file: '$path'"; status=1 ;;
    esac
done
echo "$checked ELF files checked"
[ "$checked" -gt 0 ] || { echo "no ELF file found under $2"; exit 1; }
exit $status
