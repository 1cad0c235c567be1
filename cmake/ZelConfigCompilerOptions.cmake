# Compiler settings shared by every target of the project.

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
