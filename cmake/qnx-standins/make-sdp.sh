#!/bin/sh
# Lays out a stand-in for the QNX SDP under DIR: host/usr/bin holds qcc and
# q++ (the stand-in driver of this directory) and the ntoaarch64- binutils
# (Debian's aarch64 ones); target/usr/include holds only a link to the host's
# Boost headers, which the toolchain file looks up in the target tree. Prints
# the QNX_HOST and QNX_TARGET to export.
# Usage: make-sdp.sh DIR
set -eu
[ $# -eq 1 ] || { echo "usage: $0 DIR" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$1/host/usr/bin" "$1/target/usr/include"
sdp=$(cd "$1" && pwd)
for driver in qcc q++; do
    ln -sf "$here/qcc" "$sdp/host/usr/bin/$driver"
done
for tool in ar as ld nm objcopy objdump ranlib readelf size strip; do
    ln -sf "$(command -v aarch64-linux-gnu-$tool)" "$sdp/host/usr/bin/ntoaarch64-$tool"
done
ln -sfn /usr/include/boost "$sdp/target/usr/include/boost"
echo "QNX_HOST=$sdp/host"
echo "QNX_TARGET=$sdp/target"
