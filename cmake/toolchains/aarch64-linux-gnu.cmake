# Cross build for 64-bit ARM Linux with Debian's cross compiler
# (g++-aarch64-linux-gnu, binutils-aarch64-linux-gnu; `scripts/install-deps.sh
# cross`). The tests run through qemu-aarch64 (qemu-user) when it is there.
#   cmake -S . -B build-aarch64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
#   cmake --build build-aarch64 && (cd build-aarch64 && ctest)

set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ZELCONFIG_CROSS_TRIPLET aarch64-linux-gnu)
set(ZELCONFIG_CROSS_LOADER ld-linux-aarch64.so.1)
set(ZELCONFIG_QEMU_ARCH aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/DebianCross.cmake)
