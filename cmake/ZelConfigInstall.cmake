# Install rules: the library and the document library with their SONAME
# links, the public headers under include/zelconfig, the host's default
# logger, the zelcfg tool when it is built (with its manual page and bash
# completion), the guides in docs/ with the licence and the release notes, a
# CMake package (find_package(ZelConfig)) and pkg-config files.
# Included from the top-level CMakeLists.txt after every target is defined.

include(CMakePackageConfigHelpers)

set(ZELCONFIG_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZelConfig
    CACHE STRING "Where the CMake package files go, relative to the prefix")
set(ZELCONFIG_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    CACHE STRING "Where the pkg-config files go, relative to the prefix")

install(TARGETS ZelConfig ZelConfigDocument ZelLogDefault
  EXPORT ZelConfigTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
)

# Every header in include/ is public; the internal ones live under src/.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zelconfig
  FILES_MATCHING PATTERN "*.h"
)

if(TARGET zelcfg)
  install(TARGETS zelcfg RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  # Its manual page (built when help2man is there) and bash completion.
  if(TARGET zelcfg_man)
    get_target_property(_zelcfg_man_page zelcfg_man ZELCFG_MAN_PAGE)
    install(FILES ${_zelcfg_man_page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  endif()
  install(FILES ${PROJECT_SOURCE_DIR}/tools/zelcfg/zelcfg.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME zelcfg)
endif()

# The guides: the tool's, the format's, the document API's and the others;
# the licence, whose notice must go with every copy, and the release notes.
# (The Debian packages carry the licence in debian/copyright instead.)
file(GLOB _zelconfig_docs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${_zelconfig_docs} ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NEWS
  DESTINATION ${CMAKE_INSTALL_DOCDIR})

# CMake package: ZelConfig::ZelConfig, ZelConfig::ZelConfigDocument (which
# brings ZelConfig::ZelConfig) and ZelConfig::ZelLogDefault. The libraries
# have no public dependency outside the package, so the config file finds
# nothing else.
install(EXPORT ZelConfigTargets
  NAMESPACE ZelConfig::
  DESTINATION ${ZELCONFIG_INSTALL_CMAKEDIR}
)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/ZelConfigConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZelConfigConfig.cmake
  INSTALL_DESTINATION ${ZELCONFIG_INSTALL_CMAKEDIR}
)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/ZelConfigConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion
)
install(FILES
  ${PROJECT_BINARY_DIR}/ZelConfigConfig.cmake
  ${PROJECT_BINARY_DIR}/ZelConfigConfigVersion.cmake
  DESTINATION ${ZELCONFIG_INSTALL_CMAKEDIR}
)

# pkg-config: zelconfig for the library alone (a target links its platform's
# logging library), zelconfig-logdefault for the library with the host's
# default logger, zelconfig-document for the document API. The prefix is
# found from the .pc file's own place, so a copy installed with --prefix or
# DESTDIR, or unpacked from a .deb, works
# where it lands.
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(ZELCONFIG_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(ZELCONFIG_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
if(IS_ABSOLUTE "${ZELCONFIG_INSTALL_PKGCONFIGDIR}")
  set(ZELCONFIG_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH _zelconfig_pc_up "/${ZELCONFIG_INSTALL_PKGCONFIGDIR}" "/")
  string(REGEX REPLACE "/$" "" _zelconfig_pc_up "${_zelconfig_pc_up}")
  set(ZELCONFIG_PC_PREFIX "\${pcfiledir}/${_zelconfig_pc_up}")
endif()
# zelconfig.pc's Libs (which the others require) add a run path to the
# libdir when it is none of the loader's own, so that a program built with
# them starts from such a prefix. That is decided at install time, when
# `cmake --install --prefix` may have named another prefix than the
# configured one (ZelConfigPkgConfigRunpath.cmake); here @ZELCONFIG_PC_RPATH@
# is kept for it.
set(ZELCONFIG_PC_RPATH "@ZELCONFIG_PC_RPATH@")
# The loader's own directories: those the toolchain and CMake take as
# implicit, with the multiarch ones of the platform's.
set(_zelconfig_loader_dirs ${CMAKE_PLATFORM_IMPLICIT_LINK_DIRECTORIES} ${CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES})
if(CMAKE_LIBRARY_ARCHITECTURE)
  foreach(dir IN LISTS CMAKE_PLATFORM_IMPLICIT_LINK_DIRECTORIES)
    list(APPEND _zelconfig_loader_dirs ${dir}/${CMAKE_LIBRARY_ARCHITECTURE})
  endforeach()
endif()
set(_zelconfig_pc_files zelconfig zelconfig-logdefault zelconfig-document)
foreach(pc IN LISTS _zelconfig_pc_files)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${pc}.pc.in @ONLY)
endforeach()
install(CODE "set(ZELCONFIG_PC_DIR [[${PROJECT_BINARY_DIR}/pkgconfig]])
set(ZELCONFIG_PC_FILES [[${_zelconfig_pc_files}]])
set(ZELCONFIG_PC_INSTALL_LIBDIR [[${CMAKE_INSTALL_LIBDIR}]])
set(ZELCONFIG_PC_LOADER_DIRS [[${_zelconfig_loader_dirs}]])
include([[${CMAKE_CURRENT_LIST_DIR}/ZelConfigPkgConfigRunpath.cmake]])")
foreach(pc IN LISTS _zelconfig_pc_files)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${pc}.pc DESTINATION ${ZELCONFIG_INSTALL_PKGCONFIGDIR})
endforeach()
