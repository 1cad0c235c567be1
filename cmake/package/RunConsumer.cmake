# Runs a consumer built against the installed package on SAMPLE (key
# Net.Port, which must print Net.Port=80), with LIBRARY_PATH as
# LD_LIBRARY_PATH when given. With CACHE (the consumer's CMakeCache.txt) it
# first checks that find_package took ZelConfig from PACKAGE_DIR.
#   cmake -DPROGRAM=... -DSAMPLE=... [-DLIBRARY_PATH=...] [-DCACHE=... -DPACKAGE_DIR=...]
#         [-DSAMPLE_NAMED=1] -P RunConsumer.cmake
include(${CMAKE_CURRENT_LIST_DIR}/PackageCheckCommon.cmake)

if(DEFINED CACHE)
  file(STRINGS ${CACHE} found REGEX "^ZelConfig_DIR:PATH=")
  string(REGEX REPLACE "^ZelConfig_DIR:PATH=" "" found "${found}")
  if(NOT found STREQUAL PACKAGE_DIR)
    package_fail("the CMake consumer found ZelConfig in '${found}'")
  endif()
endif()
set(program ${PROGRAM})
if(DEFINED LIBRARY_PATH)
  set(program ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${LIBRARY_PATH} ${PROGRAM})
endif()
package_run_consumer("${WHAT}" ${SAMPLE} Net.Port Net.Port=80 ${program})
