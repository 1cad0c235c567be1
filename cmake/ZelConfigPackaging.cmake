# CPack settings: `cpack -G DEB` in the build directory makes one Debian
# package with everything the install rules put in place (libraries, headers,
# default logger, CMake and pkg-config files, the zelcfg tool, the XML
# plug-in; dpkg-shlibdeps adds pugixml's library to Depends). Configure with
# -DCMAKE_INSTALL_PREFIX=/usr so that the library goes to Debian's multiarch
# directory (lib/<triplet>).

set(CPACK_PACKAGE_NAME zelconfig)
set(CPACK_PACKAGE_VENDOR "ZelConfig")
set(CPACK_PACKAGE_CONTACT "ZelConfig maintainers <zelconfig@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_INSTALL_DIRECTORY zelconfig)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git/" "/build[^/]*/")

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "Reads and writes configuration files of blocks, entries and comments
through reader, writer and parser classes, and edits them in place through
libZelConfigDocument; includes the headers, a default logger for hosts, CMake and pkg-config files, the zelcfg tool and the XML
plug-in libZel_XMLConfigParser.so.")
# A shlibs file and the ldconfig trigger for the shared library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps needs the target's dpkg database, which a cross build does
  # not have: name the one run-time dependency outside libc by hand.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6")
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  endif()
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

include(CPack)
