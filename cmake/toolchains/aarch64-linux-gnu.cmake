# Cross build for 64-bit ARM Linux with Debian's cross compiler
# (g++-aarch64-linux-gnu, binutils-aarch64-linux-gnu; `scripts/install-deps.sh
# cross`). The tests run through qemu-aarch64 (qemu-user) when it is there.
#   cmake -S . -B build-aarch64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
#   cmake --build build-aarch64 && (cd build-aarch64 && ctest)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(ZELCONFIG_CROSS_TRIPLET aarch64-linux-gnu)
set(ZELCONFIG_CROSS_SYSROOT /usr/${ZELCONFIG_CROSS_TRIPLET})

set(CMAKE_C_COMPILER ${ZELCONFIG_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${ZELCONFIG_CROSS_TRIPLET}-g++)

# Libraries, headers and packages come from the target's tree only; programs
# (the build tools) from the host.
set(CMAKE_FIND_ROOT_PATH ${ZELCONFIG_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Boost String Algorithms is header-only and the same for every architecture,
# but the host's copy sits in /usr/include beside the host's C library
# headers. A directory in the build tree that holds nothing but a link to
# /usr/include/boost joins the find root, so that the Boost lookup, confined
# to the target's tree, finds it and the compile gets Boost without the rest
# of /usr/include. (Debian's cross compiler still searches /usr/include after
# its own directories; the cross_no_host_headers test checks that nothing but
# Boost is taken from there.) CMAKE_BINARY_DIR is the build tree here, and a
# scratch directory during CMake's own compiler checks, where the link is
# harmless.
if(EXISTS /usr/include/boost/version.hpp)
  set(_zelconfig_boost_root ${CMAKE_BINARY_DIR}/host-boost)
  if(NOT EXISTS ${_zelconfig_boost_root}/usr/include/boost)
    file(MAKE_DIRECTORY ${_zelconfig_boost_root}/usr/include)
    file(CREATE_LINK /usr/include/boost ${_zelconfig_boost_root}/usr/include/boost SYMBOLIC)
  endif()
  list(APPEND CMAKE_FIND_ROOT_PATH ${_zelconfig_boost_root})
endif()

# ctest and the test discovery run target programs through the user-mode
# emulator, with the target's loader and libraries taken from the sysroot.
find_program(ZELCONFIG_QEMU qemu-${CMAKE_SYSTEM_PROCESSOR})
if(ZELCONFIG_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZELCONFIG_QEMU} -L ${ZELCONFIG_CROSS_SYSROOT})
endif()
