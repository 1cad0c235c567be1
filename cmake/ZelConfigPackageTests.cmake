# The installed package, checked as a user gets it (label package; `make
# package-check`, with -DZELCONFIG_PACKAGE_TESTS=ON): a staging install and
# what landed there, the consumer example built through find_package and
# through pkg-config, the version file, the XML plug-in's exports and the
# installed zelcfg. scripts/package-check.sh then checks the Debian packages.
# Included from the top-level CMakeLists.txt after the install rules.

set(_package_work ${PROJECT_BINARY_DIR}/package-check)
set(_package_stage ${_package_work}/stage)
set(_package_scripts ${CMAKE_CURRENT_LIST_DIR}/package)
set(_package_lib ${_package_stage}/${CMAKE_INSTALL_LIBDIR})
# What each check script needs to know of the build and the staging install.
set(_package_vars
  -DSTAGE=${_package_stage} -DSOURCE_DIR=${PROJECT_SOURCE_DIR} -DBUILD_DIR=${PROJECT_BINARY_DIR}
  -DWORK_DIR=${_package_work} -DVERSION=${PROJECT_VERSION} -DLIBDIR=${CMAKE_INSTALL_LIBDIR}
  -DINCLUDEDIR=${CMAKE_INSTALL_INCLUDEDIR} -DBINDIR=${CMAKE_INSTALL_BINDIR}
  -DDATADIR=${CMAKE_INSTALL_DATADIR} -DMANDIR=${CMAKE_INSTALL_MANDIR} -DDOCDIR=${CMAKE_INSTALL_DOCDIR})
set(_package_sample ${PROJECT_SOURCE_DIR}/examples/data/sample.cfg)
set(_package_sample_xml ${PROJECT_SOURCE_DIR}/examples/data/sample.xml)
# The consumer's warnings, as strict as the project's own.
set(_package_cxxflags "-Wall -Wextra -Wpedantic -Werror")

add_test(NAME package_install
  COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${PROJECT_BINARY_DIR} -DWORK_DIR=${_package_work}
          -DSTAGE=${_package_stage} -P ${_package_scripts}/StageInstall.cmake)
set_tests_properties(package_install PROPERTIES FIXTURES_SETUP zelconfig_stage)

# One test per check of the staging install's contents.
function(zelconfig_package_check check)
  add_test(NAME package_${check}
    COMMAND ${CMAKE_COMMAND} -DCHECK=${check} ${_package_vars} -P ${_package_scripts}/CheckStage.cmake)
  set_tests_properties(package_${check} PROPERTIES FIXTURES_REQUIRED zelconfig_stage)
endfunction()
zelconfig_package_check(library)
zelconfig_package_check(headers)
zelconfig_package_check(files)
if(TARGET zelcfg)
  zelconfig_package_check(zelcfg)
  if(TARGET zelcfg_man)
    zelconfig_package_check(manual)
  else()
    message(STATUS "package-check: note: the build found no help2man, so there is no manual page to check")
  endif()
endif()
if(TARGET Zel_XMLConfigParser)
  zelconfig_package_check(plugin)
endif()

# examples/consumer through find_package(ZelConfig), from the staging prefix.
add_test(NAME package_consumer_cmake
  COMMAND ${CMAKE_CTEST_COMMAND} --build-and-test ${PROJECT_SOURCE_DIR}/examples/consumer
          ${_package_work}/consumer-cmake
          --build-generator ${CMAKE_GENERATOR} --build-makeprogram ${CMAKE_MAKE_PROGRAM}
          --build-options -DCMAKE_PREFIX_PATH=${_package_stage} -DCMAKE_CXX_FLAGS=${_package_cxxflags}
          --test-command ${CMAKE_COMMAND} -DWHAT=CMake\ consumer
            -DPROGRAM=${_package_work}/consumer-cmake/print_value -DSAMPLE=${_package_sample}
            -DCACHE=${_package_work}/consumer-cmake/CMakeCache.txt
            -DPACKAGE_DIR=${_package_lib}/cmake/ZelConfig -P ${_package_scripts}/RunConsumer.cmake)
set_tests_properties(package_consumer_cmake PROPERTIES
  FIXTURES_REQUIRED zelconfig_stage FIXTURES_SETUP zelconfig_consumer_cmake)

# The version file takes this major version and refuses the others.
add_test(NAME package_version
  COMMAND ${CMAKE_CTEST_COMMAND} --build-and-test ${_package_scripts}/version-check
          ${_package_work}/version-check
          --build-generator ${CMAKE_GENERATOR} --build-makeprogram ${CMAKE_MAKE_PROGRAM}
          --build-options -DPACKAGE_DIR=${_package_lib}/cmake/ZelConfig -DMAJOR=${PROJECT_VERSION_MAJOR})
set_tests_properties(package_version PROPERTIES FIXTURES_REQUIRED zelconfig_stage)

# The same source with a plain g++ line from pkg-config, and with a logger of
# its own; and a program of the document library.
foreach(check IN ITEMS default own-log document)
  add_test(NAME package_consumer_pkgconfig_${check}
    COMMAND ${CMAKE_COMMAND} -DCHECK=${check} ${_package_vars}
            -P ${_package_scripts}/PkgConfigConsumer.cmake)
  set_tests_properties(package_consumer_pkgconfig_${check} PROPERTIES FIXTURES_REQUIRED zelconfig_stage)
endforeach()

# Programs of every exported target and pkg-config module start with no
# LD_LIBRARY_PATH, the package in a prefix outside the loader's paths.
foreach(check IN ITEMS cmake pkgconfig)
  add_test(NAME package_runpath_${check}
    COMMAND ${CMAKE_COMMAND} -DCHECK=${check} ${_package_vars} -DGENERATOR=${CMAKE_GENERATOR}
            -DMAKE_PROGRAM=${CMAKE_MAKE_PROGRAM} -P ${_package_scripts}/RunpathConsumers.cmake)
  set_tests_properties(package_runpath_${check} PROPERTIES FIXTURES_REQUIRED zelconfig_stage)
endforeach()

if(TARGET Zel_XMLConfigParser)
  # The plug-in is found through the library search path, as on the target.
  add_test(NAME package_consumer_cmake_xml
    COMMAND ${CMAKE_COMMAND} -DWHAT=CMake\ consumer -DSAMPLE_NAMED=1
            -DPROGRAM=${_package_work}/consumer-cmake/print_value -DSAMPLE=${_package_sample_xml}
            -DLIBRARY_PATH=${_package_lib} -P ${_package_scripts}/RunConsumer.cmake)
  set_tests_properties(package_consumer_cmake_xml PROPERTIES
    FIXTURES_REQUIRED "zelconfig_stage;zelconfig_consumer_cmake")
  if(TARGET zelcfg)
    zelconfig_package_check(zelcfg-xml)
  endif()
endif()

get_property(_package_tests DIRECTORY PROPERTY TESTS)
set_tests_properties(${_package_tests} PROPERTIES LABELS package)
