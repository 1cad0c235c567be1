# Compiler settings shared by every target of the project.

# 64-bit file offsets and a 64-bit time_t on every target, the 32-bit ones
# included: without them a 32-bit build cannot open a file over 2 GiB, list a
# directory whose entries carry 64-bit positions (readdir fails with
# EOVERFLOW) or tell the time after January 2038. glibc then links the 64-bit
# variants (open64, __fstat64_time64, ...); on 64-bit targets, and on C
# libraries whose types are 64-bit anyway, the macros change nothing. Set for
# the whole tree (library, plug-in, tool, tests, the GoogleTest built here)
# so that no two of its objects disagree; the public headers hold no type
# whose size depends on them, so an application may be built either way.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)

if(ZELCONFIG_SANITIZE)
  # Applied to everything, tests included, so that the runtime sees every
  # allocation and every call across the library boundary.
  set(_zelconfig_sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
  add_compile_options(${_zelconfig_sanitizers})
  add_link_options(${_zelconfig_sanitizers})
  # Bounds-checked standard containers as well.
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()

if(ZELCONFIG_SANITIZE_THREAD)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

if(ZELCONFIG_BUILD_FUZZ)
  # Coverage for libFuzzer in everything, the library included; only the
  # fuzz programs link libFuzzer itself.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Warnings for the project's own targets; -Werror only where asked (CI does).
function(zelconfig_target_options target)
  # QCC is QNX's GCC-based driver, which takes GCC's warning options.
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang|QCC")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow)
    if(ZELCONFIG_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

# Run paths of what is installed. CMake links an installed target with its
# build-tree path plus an empty entry (room for rewriting it at install),
# and an empty entry means the current directory: a program run from the
# build tree would load any library lying there. So installed programs are
# linked with their install-time path from the start, and the build tree
# holds the one link that makes that path lead to the build's libraries.
# A shared library that needs libZelConfig (the document library, the
# plug-in) finds it in its own directory ($ORIGIN), where both are
# installed: a program linked --as-needed to it alone, from a prefix outside
# the loader's paths, would otherwise not start. Others carry no run path.
function(zelconfig_install_runpath target)
  get_target_property(_type ${target} TYPE)
  if(_type STREQUAL "EXECUTABLE")
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
      set_target_properties(${target} PROPERTIES
        INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}" BUILD_WITH_INSTALL_RPATH ON)
      get_target_property(_dir ${target} BINARY_DIR)
      get_filename_component(_link ${_dir}/../${CMAKE_INSTALL_LIBDIR} ABSOLUTE)
      if(NOT EXISTS ${_link})
        get_filename_component(_parent ${_link} DIRECTORY)
        file(MAKE_DIRECTORY ${_parent})
        file(CREATE_LINK ${PROJECT_BINARY_DIR} ${_link} SYMBOLIC)
      endif()
    else()
      set_target_properties(${target} PROPERTIES SKIP_BUILD_RPATH ON)
    endif()
  else()
    get_target_property(_links ${target} LINK_LIBRARIES)
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux"
       AND ("ZelConfig" IN_LIST _links OR "ZelConfig::ZelConfig" IN_LIST _links))
      set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
    else()
      set_target_properties(${target} PROPERTIES SKIP_BUILD_RPATH ON INSTALL_RPATH "")
    endif()
  endif()
endfunction()
