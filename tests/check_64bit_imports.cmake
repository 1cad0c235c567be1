# Checks that binaries built for a 32-bit glibc target import the 64-bit
# variants of the C library's file and time functions (open64,
# __fstat64_time64, readdir64, __clock_gettime64, ...), never the 32-bit
# ones, which fail with EOVERFLOW on large files and directories and wrap in
# January 2038. Which names have a 64-bit variant is read from the target's
# own C library, so that a function the code starts to call is checked too:
# an import N is the 32-bit variant when the library also exports N64, __N64,
# __N_time64 or __N64_time64 (for N ending in _r, _2 or _chk, the 64 goes
# before that ending: __localtime64_r, __pread64_chk).
# Usage: cmake -DFILES=bin1;bin2 -DLIBC=libc.so.6 [-DNM=nm] -P check_64bit_imports.cmake

cmake_minimum_required(VERSION 3.16)

if(NOT NM)
  set(NM nm)
endif()

# Names without their symbol versions ("name@GLIBC_2.4", "name@@GLIBC_2.34").
function(dynamic_symbols file option out)
  execute_process(COMMAND ${NM} -D ${option} ${file} OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${NM} failed on ${file}")
  endif()
  string(REGEX MATCHALL "[^\n]+" lines "${listing}")
  set(names "")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^.* " "" name "${line}")
    string(REGEX REPLACE "@.*$" "" name "${name}")
    list(APPEND names ${name})
  endforeach()
  set(${out} ${names} PARENT_SCOPE)
endfunction()

dynamic_symbols(${LIBC} --defined-only exported)
list(LENGTH exported count)
if(count LESS 1000)
  message(FATAL_ERROR "${LIBC} exports ${count} names, too few for a C library")
endif()
# One variable per exported name, for lookups that do not walk the list.
foreach(name IN LISTS exported)
  set(exports_${name} 1)
endforeach()

set(strays "")
set(wide "")
foreach(file IN LISTS FILES)
  get_filename_component(base ${file} NAME)
  dynamic_symbols(${file} --undefined-only imported)
  foreach(name IN LISTS imported)
    if(name MATCHES "^_Z")
      continue()
    endif()
    set(variants ${name}64 __${name}64 __${name}_time64 __${name}64_time64)
    if(name MATCHES "^(.+)(_r|_2|_chk)$")
      list(APPEND variants ${CMAKE_MATCH_1}64${CMAKE_MATCH_2} __${CMAKE_MATCH_1}64${CMAKE_MATCH_2})
    endif()
    # strtof64 and its kind are the _Float64 functions of strtof and others,
    # whose _Float32 siblings (strtof32) tell them apart.
    if(DEFINED exports_${name}32)
      list(REMOVE_ITEM variants ${name}64)
    endif()
    foreach(variant IN LISTS variants)
      if(DEFINED exports_${variant})
        list(APPEND strays "${name} (${base}), where ${variant} is the 64-bit one")
        break()
      endif()
    endforeach()
    if(name MATCHES "64" AND NOT name IN_LIST wide)
      list(APPEND wide ${name})
    endif()
  endforeach()
endforeach()

if(strays)
  list(JOIN strays "\n  " strays)
  message(FATAL_ERROR "32-bit file or time functions imported:\n  ${strays}\n"
                      "(built without -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64?)")
endif()
# A build that imports no 64-bit variant at all is no 32-bit glibc build, and
# this check would prove nothing on it.
if(NOT wide)
  message(FATAL_ERROR "no 64-bit variant imported by ${FILES}: not a 32-bit glibc build")
endif()
list(SORT wide)
list(JOIN wide ", " wide)
message(STATUS "64-bit variants only: ${wide}")
