# Checks a cross build's recorded header dependencies: no object may have
# read a header from the host's /usr/include or /usr/local/include (host C
# library headers would compile but describe the wrong platform) except
# Boost's, which the toolchain file links in on purpose, and pugixml's, which
# the target's own package shares with the host's. The compiler writes
# system headers' paths with links resolved, so Boost's read through that
# link show as /usr/include/boost.
# Usage: cmake -DBUILD_DIR=dir -DMAKE_PROGRAM=prog -DGENERATOR=name -P check_host_headers.cmake

if(GENERATOR MATCHES "Ninja")
  # Ninja keeps the compiler's dependency lists in its own log.
  execute_process(COMMAND ${MAKE_PROGRAM} -C ${BUILD_DIR} -t deps
    OUTPUT_VARIABLE deps RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${MAKE_PROGRAM} -t deps failed in ${BUILD_DIR}")
  endif()
else()
  # The Makefile generators keep the compiler's .d files beside the objects.
  file(GLOB_RECURSE depfiles ${BUILD_DIR}/*.o.d)
  set(deps "")
  foreach(depfile IN LISTS depfiles)
    file(READ ${depfile} content)
    string(APPEND deps "${content}\n")
  endforeach()
endif()

string(REGEX REPLACE "[ \t\\\\]+" "\n" deps "${deps}")
string(REPLACE "\n" ";" deps "${deps}")
set(headers 0)
set(boost 0)
set(leaks "")
foreach(path IN LISTS deps)
  if(path MATCHES "(^|/host-boost)/usr/include/boost/")
    math(EXPR boost "${boost} + 1")
  elseif(path MATCHES "^/usr/include/pugi(xml|config)\\.hpp$")
    # The target's libpugixml-dev (arm64, armhf) installs these very files there.
  elseif(path MATCHES "^/usr/(local/)?include/")
    list(APPEND leaks ${path})
  endif()
  if(path MATCHES "\\.(h|hpp|tcc)$|/c\\+\\+/[0-9]+/[a-z_]+$")
    math(EXPR headers "${headers} + 1")
  endif()
endforeach()

if(headers EQUAL 0)
  message(FATAL_ERROR "no header dependencies recorded in ${BUILD_DIR}")
endif()
if(leaks)
  list(REMOVE_DUPLICATES leaks)
  list(JOIN leaks "\n  " leaks)
  message(FATAL_ERROR "host headers in the cross build:\n  ${leaks}")
endif()
if(boost EQUAL 0)
  message(FATAL_ERROR "no Boost header among the dependencies")
endif()
message(STATUS "${headers} header dependencies, ${boost} of them Boost's, no other from the host")
