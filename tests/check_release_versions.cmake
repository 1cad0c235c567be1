# Checks that the release is one version everywhere it is written: CMake's
# project version (which zelcfg --version prints and the libraries' file
# names carry), the latest entry of debian/changelog (the packages' version)
# and the latest release in NEWS.
# Usage: cmake -DVERSION=x.y.z -DCHANGELOG=debian/changelog -DNEWS=NEWS -P check_release_versions.cmake

file(STRINGS ${CHANGELOG} entry LIMIT_COUNT 1)
# "zelconfig (1.0.0) unstable; ...": the version without an epoch or a Debian revision.
if(NOT entry MATCHES "^[a-z0-9.+-]+ \\(([0-9]+:)?([^)-]+)(-[^)]*)?\\)")
  message(FATAL_ERROR "${CHANGELOG}: no version in its first line: ${entry}")
endif()
set(packaged ${CMAKE_MATCH_2})

file(STRINGS ${NEWS} releases REGEX "^ZelConfig [0-9]" LIMIT_COUNT 1)
if(NOT releases MATCHES "^ZelConfig ([0-9][^ ]*)")
  message(FATAL_ERROR "${NEWS}: no line 'ZelConfig <version> ...'")
endif()
set(announced ${CMAKE_MATCH_1})

if(NOT packaged STREQUAL VERSION OR NOT announced STREQUAL VERSION)
  message(FATAL_ERROR "versions differ: CMake ${VERSION}, ${CHANGELOG} ${packaged}, ${NEWS} ${announced}")
endif()
message(STATUS "CMake, debian/changelog and NEWS all say ${VERSION}")
