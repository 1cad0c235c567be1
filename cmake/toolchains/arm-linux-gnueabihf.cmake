# Cross build for 32-bit ARM Linux (ARMv7, hard float: a 32-bit long, as on
# the QNX ARMv7 targets) with Debian's cross compiler (g++-arm-linux-gnueabihf,
# binutils-arm-linux-gnueabihf; `scripts/install-deps.sh cross-armhf`). The
# tests run through qemu-arm (qemu-user) when it is there.
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm-linux-gnueabihf.cmake
#   cmake --build build-armhf && (cd build-armhf && ctest)

set(CMAKE_SYSTEM_PROCESSOR arm)
set(ZELCONFIG_CROSS_TRIPLET arm-linux-gnueabihf)
set(ZELCONFIG_CROSS_LOADER ld-linux-armhf.so.3)
set(ZELCONFIG_QEMU_ARCH arm)
include(${CMAKE_CURRENT_LIST_DIR}/DebianCross.cmake)
