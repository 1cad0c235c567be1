# Turns every ```cpp block of README.md into a function of readme_examples_test,
# as written, so that the test runs what the README shows:
#   cmake -DREADME=README.md -DOUT=readme_examples.inc -P readme_examples.cmake
# Each line keeps its README line number (#line), and only these changes are
# made to it:
#   "/etc/NAME"                  run.Path("/etc/NAME"), a file of the test's
#   #include ...                 moved to the top of the file
#   if (CALL != 0) {             the call's status goes to run.Status, which
#   OBJECT.CALL(...);            fails the test unless it is 0
#   T name = ...;  // VALUE...   run.Value: name must hold VALUE, a number or
#                                a quoted string opening the comment
#   ...("KEY", ...); // written as "TEXT"   run.Written: KEY reads back TEXT
#                                after the example, from a fresh reader
cmake_minimum_required(VERSION 3.16)

file(READ ${README} text)
set(includes "")
set(functions "")
set(table "")
set(inside OFF)
set(number 0)
set(count 0)
# Line by line, without CMake lists: README lines hold ';' and brackets.
while(NOT text STREQUAL "")
  string(FIND "${text}" "\n" end)
  if(end EQUAL -1)
    set(line "${text}")
    set(text "")
  else()
    string(SUBSTRING "${text}" 0 ${end} line)
    math(EXPR end "${end} + 1")
    string(SUBSTRING "${text}" ${end} -1 text)
  endif()
  math(EXPR number "${number} + 1")
  if(NOT inside)
    if(line STREQUAL "```cpp")
      set(inside ON)
      math(EXPR count "${count} + 1")
      math(EXPR first "${number} + 1")
      set(opening "")
      string(APPEND functions "\nvoid ReadmeExample${count}(ReadmeRun& run)\n{\n#line ${first} \"README.md\"\n")
    endif()
    continue()
  endif()
  if(line STREQUAL "```")
    set(inside OFF)
    string(APPEND functions "}\n")
    string(REPLACE "\\" "\\\\" opening "${opening}")
    string(REPLACE "\"" "\\\"" opening "${opening}")
    string(APPEND table "    {${first}, \"${opening}\", ReadmeExample${count}},\n")
    continue()
  endif()
  if(line MATCHES "^#include ")
    string(APPEND includes "${line}\n")
    string(APPEND functions "\n")
    continue()
  endif()
  # The code before a comment: no '/' stands outside a string in the examples.
  set(code "")
  if(line MATCHES "^([^\"/]|\"[^\"]*\")+")
    set(code "${CMAKE_MATCH_0}")
  endif()
  string(LENGTH "${code}" length)
  string(SUBSTRING "${line}" ${length} -1 comment)
  if(opening STREQUAL "")
    string(STRIP "${code}" opening)
  endif()
  string(REGEX REPLACE "\"(/etc/[^\"]*)\"" "run.Path(\"\\1\")" code "${code}")
  if(code MATCHES "^( *)if \\((.*) != 0\\) {( *)$")
    set(code "${CMAKE_MATCH_1}if (run.Status(__LINE__, ${CMAKE_MATCH_2}) != 0) {${CMAKE_MATCH_3}")
  elseif(code MATCHES "^( *)([a-z][A-Za-z0-9_]*\\.[A-Za-z0-9_]+\\(.*\\));( *)$")
    set(indent "${CMAKE_MATCH_1}")
    set(call "${CMAKE_MATCH_2}")
    set(gap "${CMAKE_MATCH_3}")
    set(code "${indent}run.Status(__LINE__, ${call});")
    if(comment MATCHES "^// written as (\"[^\"]*\")")
      set(written "${CMAKE_MATCH_1}")
      if(call MATCHES "^[^(]*\\((\"[^\"]*\"),")
        string(APPEND code " run.Written(${CMAKE_MATCH_1}, ${written});")
      endif()
    endif()
    string(APPEND code "${gap}")
  elseif(code MATCHES "^( *[A-Za-z_][A-Za-z0-9_:]* ([a-z][A-Za-z0-9_]*) = .*;)( *)$")
    set(statement "${CMAKE_MATCH_1}")
    set(name "${CMAKE_MATCH_2}")
    set(gap "${CMAKE_MATCH_3}")
    if(comment MATCHES "^// (\"[^\"]*\"|-?[0-9][0-9.]*)( *[;:,(].*)?$")
      set(code "${statement} run.Value(__LINE__, ${name}, ${CMAKE_MATCH_1});${gap}")
    endif()
  endif()
  string(APPEND functions "${code}${comment}\n")
endwhile()
if(inside)
  message(FATAL_ERROR "${README}: the ```cpp block of line ${first} is not closed")
endif()

file(WRITE ${OUT}.new "// Generated from README.md by tests/readme_examples.cmake: edit the README.
${includes}
namespace {
${functions}
#line 10000 \"readme_examples.inc\"
// Each example: the README line of its first line of code, that line, the example.
const ReadmeExample kReadmeExamples[] = {
${table}};

} // namespace
")
# Rewritten only when it changed, so that nothing is rebuilt for another edit.
execute_process(COMMAND ${CMAKE_COMMAND} -E copy_if_different ${OUT}.new ${OUT})
file(REMOVE ${OUT}.new)
