# Checks that the libraries and the plug-in import from the system nothing but
# POSIX.1-2008 functions (or their large-file variants, "open64"), the C and
# C++ runtimes' own symbols and the committed exceptions, so that the code
# stays portable to QNX. Feature-test macros cannot prove this on glibc: the
# standard library's own headers need GNU extensions. A new import outside
# both lists fails, naming it.
# Usage: cmake -DFILES=lib1;lib2 -DPOSIX=list -DEXCEPTIONS=list [-DNM=nm]
#        -P check_imports.cmake

if(NOT NM)
  set(NM nm)
endif()

# Every word after the colon of each line that is not a comment.
file(STRINGS ${POSIX} lines REGEX "^[^#].*:")
set(posix "")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^[^:]*:" "" line "${line}")
  separate_arguments(names UNIX_COMMAND "${line}")
  list(APPEND posix ${names})
endforeach()
list(LENGTH posix count)
if(count LESS 1000)
  message(FATAL_ERROR "${POSIX} lists ${count} names, too few for POSIX.1-2008")
endif()

# The first field of each exception; each must also say why and what QNX offers.
file(STRINGS ${EXCEPTIONS} lines REGEX "^[^#]")
set(exceptions "")
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^([A-Za-z_][A-Za-z0-9_]*) \\| [^|]+ \\| [^|]+$")
    message(FATAL_ERROR "${EXCEPTIONS}: not 'name | why | what QNX offers': ${line}")
  endif()
  list(APPEND exceptions ${CMAKE_MATCH_1})
endforeach()

set(strays "")
set(checked 0)
foreach(file IN LISTS FILES)
  execute_process(COMMAND ${NM} -D --undefined-only ${file}
                  OUTPUT_VARIABLE undefined RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${NM} failed on ${file}")
  endif()
  string(REGEX MATCHALL "[^\n]+" lines "${undefined}")
  foreach(line IN LISTS lines)
    # "U name@VERSION": the name without its symbol version.
    string(REGEX REPLACE "^.* " "" name "${line}")
    string(REGEX REPLACE "@.*$" "" name "${name}")
    math(EXPR checked "${checked} + 1")
    if(name MATCHES "^(_Z|__|_[A-Z])")
      continue()
    endif()
    # A 32-bit build with 64-bit file offsets imports the large-file variant
    # of a POSIX function under its name with 64 added (open64, readdir64).
    string(REGEX REPLACE "64$" "" stem "${name}")
    list(FIND posix ${stem} at)
    if(NOT at EQUAL -1)
      continue()
    endif()
    list(FIND exceptions ${name} at)
    if(at EQUAL -1)
      get_filename_component(base ${file} NAME)
      list(APPEND strays "${name} (${base})")
    endif()
  endforeach()
endforeach()

if(checked EQUAL 0)
  message(FATAL_ERROR "no import found in ${FILES}")
endif()
if(strays)
  list(JOIN strays "\n  " strays)
  message(FATAL_ERROR "imports outside POSIX.1-2008 and ${EXCEPTIONS}:\n  ${strays}")
endif()
message(STATUS "${checked} imports, all POSIX.1-2008, the runtimes' own or listed exceptions")
