# Checks that the reading of the CFG format (the line reader, the classifier,
# the reading loop, the model built from it) is in libZelConfig alone:
# exported there for the project's other binaries, and defined in none of
# them, not even as a hidden copy of their own.
# Usage: cmake -DLIBRARY=libZelConfig -DOTHERS=bin1;bin2 [-DNM=nm]
#        -P check_one_reading.cmake

if(NOT NM)
  set(NM nm)
endif()

# Mangled, so that any nm reads them alike: zelconfig::<name> of each.
set(exported 13CFGLineReader4Open 13CFGLineReader9OpenBytes 13CFGLineReaderD 15CFGClassifyLine 18CFGClassifyIniLine
    12CFGReadLines 12CFGReadModel 13CFGParseBytes 16CFGTrimAnonymous 16CFGCheckWritable 12FreeBlockMap)
# Also the members only the library's own reading calls, which stay hidden.
set(hidden 13CFGLineReader9OpenAhead 13CFGLineReader4Next 13CFGLineReader16NextStartingWith
    13CFGLineReader4Fill)

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE defined RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}")
endif()
foreach(name IN LISTS exported)
  if(NOT defined MATCHES " _ZN9zelconfig${name}")
    message(FATAL_ERROR "${LIBRARY} does not export zelconfig's ${name}")
  endif()
endforeach()

list(JOIN exported "|" any)
list(JOIN hidden "|" anyHidden)
foreach(file IN LISTS OTHERS)
  execute_process(COMMAND ${NM} --defined-only ${file} OUTPUT_VARIABLE defined RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${NM} failed on ${file}")
  endif()
  string(REGEX MATCH " _ZN9zelconfig(${any}|${anyHidden})[^\n]*" copy "${defined}")
  if(copy)
    message(FATAL_ERROR "${file} carries its own copy of the CFG reading:${copy}")
  endif()
endforeach()
message(STATUS "the CFG reading is libZelConfig's alone")
