# What the Debian cross builds share (included by aarch64-linux-gnu.cmake and
# arm-linux-gnueabihf.cmake, which set these first):
#   ZELCONFIG_CROSS_TRIPLET  the GNU triplet of Debian's cross compiler and of
#                            the target's multiarch directory
#   ZELCONFIG_CROSS_LOADER   the target's dynamic loader, by file name
#   ZELCONFIG_QEMU_ARCH      qemu's user-mode emulator is qemu-<this>

set(CMAKE_SYSTEM_NAME Linux)

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
# its own directories; the cross_no_host_headers test checks that only
# Boost's headers are taken from there, and pugixml's, which the target's
# package installs there too.) CMAKE_BINARY_DIR is the build tree here, and a scratch
# directory during CMake's own compiler checks, where the link is harmless.
if(EXISTS /usr/include/boost/version.hpp)
  set(_zelconfig_boost_root ${CMAKE_BINARY_DIR}/host-boost)
  if(NOT EXISTS ${_zelconfig_boost_root}/usr/include/boost)
    file(MAKE_DIRECTORY ${_zelconfig_boost_root}/usr/include)
    file(CREATE_LINK /usr/include/boost ${_zelconfig_boost_root}/usr/include/boost SYMBOLIC)
  endif()
  list(APPEND CMAKE_FIND_ROOT_PATH ${_zelconfig_boost_root})
endif()

# Libraries of the target's Debian architecture (multiarch: libpugixml-dev:arm64
# or :armhf, from `install-deps.sh cross` or `cross-armhf`) sit in
# /usr/lib/<triplet> beside the host's. A link to that one directory joins the find root the same way, so
# their CMake packages and libraries are found without the rest of /usr.
set(_zelconfig_multiarch_dir /usr/lib/${ZELCONFIG_CROSS_TRIPLET})
if(IS_DIRECTORY ${_zelconfig_multiarch_dir})
  set(_zelconfig_multiarch_root ${CMAKE_BINARY_DIR}/target-multiarch)
  if(NOT EXISTS ${_zelconfig_multiarch_root}${_zelconfig_multiarch_dir})
    file(MAKE_DIRECTORY ${_zelconfig_multiarch_root}/usr/lib)
    file(CREATE_LINK ${_zelconfig_multiarch_dir} ${_zelconfig_multiarch_root}${_zelconfig_multiarch_dir}
         SYMBOLIC)
  endif()
  list(APPEND CMAKE_FIND_ROOT_PATH ${_zelconfig_multiarch_root})
endif()

# ctest and the test discovery run target programs through the user-mode
# emulator. Debian's C and C++ libraries of the target's architecture, which
# its pugixml depends on, are another build than the sysroot's, and the
# sysroot's loader would take their libc from the multiarch directory. So when
# they are installed the programs run on them whole, loader included, as on a
# Debian target; otherwise on the sysroot's.
find_program(ZELCONFIG_QEMU qemu-${ZELCONFIG_QEMU_ARCH})
if(ZELCONFIG_QEMU)
  if(EXISTS ${_zelconfig_multiarch_dir}/${ZELCONFIG_CROSS_LOADER})
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ZELCONFIG_QEMU} -L /)
  else()
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ZELCONFIG_QEMU} -L ${ZELCONFIG_CROSS_SYSROOT})
  endif()
endif()
