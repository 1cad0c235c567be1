# Checks the built library's ABI surface: its SONAME, that every exported
# symbol belongs to a public class, and that the platform's logging symbols
# are left for the application to define.
# Usage: cmake -DLIBRARY=path -DSONAME=name [-DNM=nm] [-DREADELF=readelf]
#        -P check_exports.cmake

if(NOT NM)
  set(NM nm)
endif()
if(NOT READELF)
  set(READELF readelf)
endif()

execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${READELF} failed on ${LIBRARY}")
endif()
if(NOT dynamic MATCHES "Library soname: \\[${SONAME}\\]")
  message(FATAL_ERROR "SONAME is not ${SONAME}:\n${dynamic}")
endif()

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE defined)
string(REPLACE "\n" ";" defined "${defined}")
set(exported 0)
foreach(line IN LISTS defined)
  if(NOT line MATCHES " ([A-Za-z]) ([^ ]+)$")
    continue()
  endif()
  set(kind "${CMAKE_MATCH_1}")
  set(symbol "${CMAKE_MATCH_2}")
  if(symbol MATCHES "^(_init|_fini|_edata|_end|__bss_start)$")
    continue()
  endif()
  # Weak instantiations of standard templates are the standard library's, not
  # ours, and so are their static locals (std::to_string's digit table).
  if(kind MATCHES "^[WVu]$" AND symbol MATCHES "^_ZZ?N?K?(St|9__gnu_cxx)")
    continue()
  endif()
  # Typeinfo of plain function types, which UBSan's function check emits.
  if(kind MATCHES "^[WVu]$" AND symbol MATCHES "^_ZT[IS]F")
    continue()
  endif()
  # Members, typeinfo and vtables of the public classes.
  if(NOT symbol MATCHES "^_Z(NK?|T[IVS])(10CCFG(Parser|Reader|Writer)|13IConfig(Reader|Writer)|16CZelConfig(Reader|Writer|Parser)|9zelconfig(8Document|10LockedFile|11ReplaceFile))")
    message(FATAL_ERROR "exported symbol outside the public classes: ${symbol}")
  endif()
  math(EXPR exported "${exported} + 1")
endforeach()
if(exported EQUAL 0)
  message(FATAL_ERROR "no public symbol is exported")
endif()

execute_process(COMMAND ${NM} -D --undefined-only ${LIBRARY} OUTPUT_VARIABLE undefined)
foreach(symbol ZelLog g_TovLogParams)
  if(NOT undefined MATCHES " U ${symbol}\n")
    message(FATAL_ERROR "${symbol} must be left undefined for the platform to provide")
  endif()
endforeach()
message(STATUS "${exported} exported symbols, all in public classes")
