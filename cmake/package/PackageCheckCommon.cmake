# Helpers shared by the installed package's checks (cmake -P scripts of this
# directory, run by the CTest tests of ZelConfigPackageTests.cmake).

# Fails the check with the message, as the shell check did.
function(package_fail)
  string(JOIN "" text ${ARGN})
  message(FATAL_ERROR "package-check: FAILED: ${text}")
endfunction()

# Reports one passed check.
function(package_pass)
  string(JOIN "" text ${ARGN})
  message("package-check: ok: ${text}")
endfunction()

# Runs a command; OUT and ERR receive its output without the trailing line
# ends, STATUS its exit status.
function(package_run out err status)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE o ERROR_VARIABLE e RESULT_VARIABLE s)
  string(REGEX REPLACE "\n+$" "" o "${o}")
  string(REGEX REPLACE "\n+$" "" e "${e}")
  set(${out} "${o}" PARENT_SCOPE)
  set(${err} "${e}" PARENT_SCOPE)
  set(${status} "${s}" PARENT_SCOPE)
endfunction()

# Runs a consumer program on FILE and KEY: stdout must be exactly EXPECTED and
# stderr empty (the default logger is quiet on a normal run); asked through
# ZELCONFIG_LOG_MASK, it shows the detach of a CZelConfigParser at level 9,
# naming the writer back end of FILE (xml for an .xml file). WHAT names it in
# the messages; the program is the rest of the arguments.
function(package_run_consumer what file key expected)
  set(backend cfg)
  if(file MATCHES "\\.xml$")
    set(backend xml)
  endif()
  package_run(out err status ${CMAKE_COMMAND} -E env ZELCONFIG_LOG_MASK= ${ARGN} ${file} ${key})
  if(NOT status EQUAL 0)
    package_fail("${what}: exit status ${status}")
  endif()
  if(NOT out STREQUAL expected)
    package_fail("${what}: printed '${out}', expected '${expected}'")
  endif()
  if(NOT err STREQUAL "")
    package_fail("${what}: the default logger is not quiet: '${err}'")
  endif()
  package_run(out err status ${CMAKE_COMMAND} -E env ZELCONFIG_LOG_MASK=0x200 ${ARGN} ${file} ${key})
  if(NOT status EQUAL 0)
    package_fail("${what}: exit status ${status} with ZELCONFIG_LOG_MASK")
  endif()
  if(NOT "\n${err}" MATCHES "\nZelConfig\\[9\\] [^\n]*Data Pointer not set in ${backend} writer")
    package_fail("${what}: ZELCONFIG_LOG_MASK=0x200 shows no level-9 line on stderr: '${err}'")
  endif()
  set(from "")
  if(DEFINED SAMPLE_NAMED)
    get_filename_component(name "${file}" NAME)
    set(from " from ${name}")
  endif()
  package_pass("${what} prints ${expected}${from}, its logger quiet unless asked")
endfunction()

# The installed plug-in FILE: exactly the three factories exported, the
# library needed beside pugixml, and no run path into the build tree BUILD.
function(package_check_plugin file major build)
  if(NOT EXISTS "${file}")
    package_fail("no ${file}")
  endif()
  package_run(symbols err status nm -D --defined-only ${file})
  string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
  set(exports "")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^.* " "" name "${line}")
    list(APPEND exports "${name}")
  endforeach()
  list(SORT exports)
  list(JOIN exports " " exports)
  if(NOT exports STREQUAL "GetCXMLReaderObject GetCXMLWriterObject GetCXMLWriterObjectNoParam")
    package_fail("${file} exports '${exports}', not the three factories")
  endif()
  package_run(dynamic err status readelf -d ${file})
  if(NOT dynamic MATCHES "NEEDED[^\n]*\\[libZelConfig\\.so\\.${major}\\]")
    package_fail("${file} does not need libZelConfig.so.${major}")
  endif()
  string(FIND "${dynamic}" "${build}" at)
  if(NOT at EQUAL -1)
    package_fail("${file} keeps a run path into the build tree")
  endif()
endfunction()
