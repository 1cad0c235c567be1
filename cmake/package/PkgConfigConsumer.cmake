# The consumer built with a plain g++ line from pkg-config, against the
# staging install's .pc files:
#   CHECK=default   print_value.cpp with zelconfig-logdefault, run on the sample
#   CHECK=own-log   print_value.cpp with a logger of its own, declared by the
#                   installed ZelConfigLog.h, linked with zelconfig alone
#   CHECK=document  a program of zelconfig::Document, linked with
#                   zelconfig-document (which brings zelconfig) and the logger
#   cmake -DCHECK=... -DSTAGE=... -DLIBDIR=... -DVERSION=... -DSOURCE_DIR=...
#         -DWORK_DIR=... -P PkgConfigConsumer.cmake
include(${CMAKE_CURRENT_LIST_DIR}/PackageCheckCommon.cmake)

set(ENV{PKG_CONFIG_PATH} ${STAGE}/${LIBDIR}/pkgconfig)
set(cxxflags -std=c++17 -Wall -Wextra -Wpedantic -Werror)
set(consumer ${SOURCE_DIR}/examples/consumer)
set(sample ${SOURCE_DIR}/examples/data/sample.cfg)
package_run(libdir err status pkg-config --variable=libdir zelconfig)

# The flags of the pkg-config modules, split as the shell splits them.
function(pkg_config_flags out)
  package_run(flags err status pkg-config --cflags --libs ${ARGN})
  if(NOT status EQUAL 0)
    package_fail("pkg-config --cflags --libs ${ARGN}: ${err}")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  set(${out} ${flags} PARENT_SCOPE)
endfunction()

if(CHECK STREQUAL "default")
  package_run(modversion err status pkg-config --modversion zelconfig)
  if(NOT modversion STREQUAL VERSION)
    package_fail("zelconfig.pc is not version ${VERSION}")
  endif()
  pkg_config_flags(flags zelconfig-logdefault)
  package_run(out err status g++ ${cxxflags} ${consumer}/print_value.cpp
              -o ${WORK_DIR}/print_value-pkgconfig ${flags})
  if(NOT status EQUAL 0)
    message("${err}")
    package_fail("building the pkg-config consumer")
  endif()
  package_run_consumer("pkg-config consumer" ${sample} Net.Port Net.Port=80
                       ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir} ${WORK_DIR}/print_value-pkgconfig)

elseif(CHECK STREQUAL "own-log")
  file(WRITE ${WORK_DIR}/own_log.cpp [=[
#include <cstdio>

#include <ZelConfigLog.h>

TovLogParams g_TovLogParams = {1u << 9};

void ZelLog(int, int level, const char* function, const char* format, ...)
{
    std::fprintf(stderr, "own logger: %d %s %s\n", level, function, format);
}
]=])
  pkg_config_flags(flags zelconfig)
  package_run(out err status g++ ${cxxflags} ${consumer}/print_value.cpp ${WORK_DIR}/own_log.cpp
              -o ${WORK_DIR}/print_value-own-log ${flags})
  if(NOT status EQUAL 0)
    message("${err}")
    package_fail("building a consumer with its own logger")
  endif()
  package_run(out err status ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir}
              ${WORK_DIR}/print_value-own-log ${sample} Net.Port)
  if(NOT status EQUAL 0)
    package_fail("consumer with its own logger: exit status ${status}")
  endif()
  if(NOT out STREQUAL "Net.Port=80")
    package_fail("consumer with its own logger printed '${out}'")
  endif()
  if(NOT "\n${err}\n" MATCHES "\nown logger: 9 SetDataPtr Data Pointer not set in cfg writer\n")
    package_fail("the library did not call the consumer's own logger: '${err}'")
  endif()
  package_pass("a consumer's own logger, declared by ZelConfigLog.h, receives the library's calls")

elseif(CHECK STREQUAL "document")
  pkg_config_flags(flags zelconfig-document zelconfig-logdefault)
  package_run(out err status g++ ${cxxflags} ${CMAKE_CURRENT_LIST_DIR}/runpath-check/document_get.cpp
              -o ${WORK_DIR}/document_get ${flags})
  if(NOT status EQUAL 0)
    message("${err}")
    package_fail("building a document consumer with pkg-config zelconfig-document")
  endif()
  package_run(out err status ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir}
              ${WORK_DIR}/document_get ${sample} Net.Port)
  if(NOT status EQUAL 0 OR NOT out STREQUAL "Net.Port=80")
    package_fail("document consumer: exit status ${status}, printed '${out}'")
  endif()
  package_pass("a consumer of zelconfig::Document builds with pkg-config zelconfig-document and reads Net.Port=80")

else()
  package_fail("unknown check '${CHECK}'")
endif()
