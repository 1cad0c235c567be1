# Programs of every exported target and of every pkg-config module, linked
# --as-needed against the staging install (a prefix outside the loader's
# paths), must start and read the sample with no LD_LIBRARY_PATH:
#   CHECK=cmake      runpath-check/ through find_package, installed into a
#                    prefix of its own and run from there
#   CHECK=pkgconfig  one g++ line per row from pkg-config --cflags --libs
#   cmake -DCHECK=... -DSTAGE=... -DLIBDIR=... -DSOURCE_DIR=... -DWORK_DIR=...
#         [-DGENERATOR=... -DMAKE_PROGRAM=...] -P RunpathConsumers.cmake
cmake_minimum_required(VERSION 3.16)
include(${CMAKE_CURRENT_LIST_DIR}/PackageCheckCommon.cmake)

set(sample ${SOURCE_DIR}/examples/data/sample.cfg)
set(consumer ${SOURCE_DIR}/examples/consumer)
set(check_dir ${CMAKE_CURRENT_LIST_DIR}/runpath-check)
set(work ${WORK_DIR}/runpath-${CHECK})
file(REMOVE_RECURSE ${work})

# Runs PROGRAM on the sample as a user would, without LD_LIBRARY_PATH.
function(run_without_library_path what program)
  package_run(out err status ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ZELCONFIG_LOG_MASK=
              ${program} ${sample} Net.Port)
  if(NOT status EQUAL 0 OR NOT out STREQUAL "Net.Port=80")
    package_fail("${what} from ${program} with no LD_LIBRARY_PATH: exit status ${status}, "
                 "printed '${out}' '${err}'")
  endif()
  package_pass("${what} starts with no LD_LIBRARY_PATH and reads Net.Port=80")
endfunction()

if(CHECK STREQUAL "cmake")
  set(generator "")
  if(DEFINED GENERATOR)
    set(generator -G ${GENERATOR} -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM})
  endif()
  foreach(step IN ITEMS configure build install)
    if(step STREQUAL "configure")
      set(command ${CMAKE_COMMAND} -S ${check_dir} -B ${work}/build ${generator}
          -DCMAKE_PREFIX_PATH=${STAGE} -DCMAKE_INSTALL_PREFIX=${work}/prefix -DCONSUMER_DIR=${consumer}
          "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror")
    elseif(step STREQUAL "build")
      set(command ${CMAKE_COMMAND} --build ${work}/build)
    else()
      set(command ${CMAKE_COMMAND} --install ${work}/build)
    endif()
    package_run(out err status ${command})
    if(NOT status EQUAL 0)
      message("${out}\n${err}")
      package_fail("runpath-check through find_package: ${step}")
    endif()
  endforeach()
  foreach(program IN ITEMS print_value document_get)
    run_without_library_path("${program}, built through find_package and installed"
                             ${work}/prefix/bin/${program})
  endforeach()

elseif(CHECK STREQUAL "pkgconfig")
  set(ENV{PKG_CONFIG_PATH} ${STAGE}/${LIBDIR}/pkgconfig)
  # One row per program: its name, its source, the modules it is built with.
  set(rows
    "print_value|${consumer}/print_value.cpp|zelconfig zelconfig-logdefault"
    "document_get|${check_dir}/document_get.cpp|zelconfig-document zelconfig-logdefault")
  file(MAKE_DIRECTORY ${work})
  set(used "")
  foreach(row IN LISTS rows)
    string(REPLACE "|" ";" row "${row}")
    list(GET row 0 name)
    list(GET row 1 source)
    list(GET row 2 modules)
    separate_arguments(modules)
    list(APPEND used ${modules})
    package_run(flags err status pkg-config --cflags --libs ${modules})
    if(NOT status EQUAL 0)
      package_fail("pkg-config --cflags --libs ${modules}: ${err}")
    endif()
    separate_arguments(flags UNIX_COMMAND "${flags}")
    package_run(out err status g++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -Wl,--as-needed
                ${source} -o ${work}/${name} ${flags})
    if(NOT status EQUAL 0)
      message("${err}")
      package_fail("building ${name} with pkg-config ${modules}")
    endif()
    list(JOIN modules " " modules)
    run_without_library_path("${name}, built with pkg-config ${modules}," ${work}/${name})
  endforeach()
  # A module installed but built with by no row would go unchecked.
  file(GLOB installed RELATIVE ${STAGE}/${LIBDIR}/pkgconfig ${STAGE}/${LIBDIR}/pkgconfig/*.pc)
  foreach(pc IN LISTS installed)
    string(REGEX REPLACE "\\.pc$" "" module "${pc}")
    if(NOT module IN_LIST used)
      package_fail("no program here is built with pkg-config ${module}")
    endif()
  endforeach()

else()
  package_fail("unknown check '${CHECK}'")
endif()
