# Cross build for QNX Neutrino on 64-bit ARM (aarch64le) with the QNX SDP's
# qcc/q++ drivers.
#
# The build machines have no QNX SDP: `make qnx-standin` exercises this file
# with stand-ins for its drivers and binutils (cmake/qnx-standins), which is
# as far as it is tested; docs/building.md says what that does and does not
# show. It follows CMake's own QNX support (Platform/QNX, the QCC compiler
# front end) and the SDP's usual layout.
#
#   source <sdp>/qnxsdp-env.sh          # sets QNX_HOST and QNX_TARGET
#   cmake -S . -B build-qnx -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/qnx-aarch64le.cmake \
#         -DZELCONFIG_BUILD_TESTS=OFF
#   cmake --build build-qnx

set(CMAKE_SYSTEM_NAME QNX)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

foreach(variable IN ITEMS QNX_HOST QNX_TARGET)
  if(NOT DEFINED ENV{${variable}} AND NOT DEFINED ${variable})
    message(FATAL_ERROR "${variable} is not set: source the SDP's qnxsdp-env.sh first")
  endif()
  if(NOT DEFINED ${variable})
    set(${variable} "$ENV{${variable}}")
  endif()
endforeach()
# CMake's compiler checks run in projects of their own: hand the paths on.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QNX_HOST QNX_TARGET)

# qcc -Vgcc_ntoaarch64le: CMake turns the compiler target into the -V option.
set(ZELCONFIG_QNX_COMPILER_TARGET gcc_ntoaarch64le)
set(CMAKE_C_COMPILER ${QNX_HOST}/usr/bin/qcc)
set(CMAKE_C_COMPILER_TARGET ${ZELCONFIG_QNX_COMPILER_TARGET})
set(CMAKE_CXX_COMPILER ${QNX_HOST}/usr/bin/q++)
set(CMAKE_CXX_COMPILER_TARGET ${ZELCONFIG_QNX_COMPILER_TARGET})

# The SDP's binutils carry the target's prefix (ntoaarch64-ar, ...). CMake
# derives that prefix from a compiler named QCC only, not q++, and would take
# the host's ar, nm and strip otherwise.
foreach(tool IN ITEMS AR:ar RANLIB:ranlib NM:nm STRIP:strip OBJCOPY:objcopy OBJDUMP:objdump
                      READELF:readelf LINKER:ld)
  string(REPLACE ":" ";" tool "${tool}")
  list(GET tool 0 variable)
  list(GET tool 1 name)
  set(CMAKE_${variable} ${QNX_HOST}/usr/bin/ntoaarch64-${name} CACHE FILEPATH "The SDP's ${name}")
endforeach()

# The project builds with -std=c++17 (no GNU extensions), under which QNX's
# headers can hide POSIX and QNX declarations (strcasecmp, access, dlopen)
# unless asked for them.
set(CMAKE_CXX_FLAGS_INIT "-D_QNX_SOURCE")

# Headers and libraries from the target's tree, Boost's headers included
# (copy them under $QNX_TARGET/usr/include if the SDP lacks them); programs
# from the host.
set(CMAKE_SYSROOT ${QNX_TARGET})
set(CMAKE_FIND_ROOT_PATH ${QNX_TARGET} ${QNX_TARGET}/aarch64le)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
