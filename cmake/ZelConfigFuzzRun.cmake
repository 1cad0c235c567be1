# Runs one libFuzzer program for a bounded time, as the CTest test of its
# harness (label fuzz): cmake -DFUZZER=<program> -DNAME=<harness>
#   -DSECONDS=<n> -DSEED_CORPUS=<committed corpus> -DWORK_DIR=<build dir> -P this
# What it finds goes to WORK_DIR/corpus/NAME, a crashing input to
# WORK_DIR/crashes/NAME-*; its log to WORK_DIR/NAME.log. A crash fails the
# test with the log's end; otherwise the final stats are printed.

foreach(variable IN ITEMS FUZZER NAME SECONDS SEED_CORPUS WORK_DIR)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "ZelConfigFuzzRun.cmake: ${variable} is not set")
  endif()
endforeach()

set(corpus ${WORK_DIR}/corpus/${NAME})
set(log ${WORK_DIR}/${NAME}.log)
file(MAKE_DIRECTORY ${corpus} ${WORK_DIR}/crashes)
message("== ${NAME} for ${SECONDS} s")
execute_process(
  COMMAND ${FUZZER} -max_total_time=${SECONDS} -timeout=20 -max_len=4096
          -print_final_stats=1 -artifact_prefix=${WORK_DIR}/crashes/${NAME}-
          ${corpus} ${SEED_CORPUS}
  ERROR_FILE ${log}
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  execute_process(COMMAND tail -n 60 ${log})
  message(FATAL_ERROR "${NAME}: the fuzzer exited with ${status} (log: ${log})")
endif()
# Read by pattern: a log line with an unmatched bracket would merge list items.
file(STRINGS ${log} stats REGEX "^stat::(number_of_executed_units|peak_rss_mb)")
foreach(line IN LISTS stats)
  message("${line}")
endforeach()
