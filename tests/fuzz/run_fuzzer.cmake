# Runs one harness for a bounded time from a fresh working corpus.
#   cmake -DFUZZER=... -DSEEDS=dir -DREGRESSIONS=dir -DWORK=dir -DARTIFACTS=dir
#         -DSECONDS=n -P run_fuzzer.cmake
# The working corpus is a copy of the seeds, so the run never grows the
# seeds or anything in the source tree. Any crash, leak, sanitizer report,
# contract violation or input slower than 10 s fails the run.
foreach(var FUZZER SEEDS WORK ARTIFACTS SECONDS)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "run_fuzzer.cmake: ${var} is not set")
  endif()
endforeach()
if(NOT IS_DIRECTORY "${SEEDS}")
  message(FATAL_ERROR "no seed corpus at ${SEEDS}: build the corvel_fuzz_seed_corpora target")
endif()

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}" "${ARTIFACTS}")
file(GLOB seeds "${SEEDS}/*")
file(COPY ${seeds} DESTINATION "${WORK}")

set(corpora "${WORK}")
if(DEFINED REGRESSIONS AND IS_DIRECTORY "${REGRESSIONS}")
  list(APPEND corpora "${REGRESSIONS}")
endif()

set(ENV{ASAN_OPTIONS} "detect_leaks=1:abort_on_error=0:allocator_may_return_null=0")
set(ENV{UBSAN_OPTIONS} "print_stacktrace=1:halt_on_error=1")
execute_process(
  COMMAND "${FUZZER}"
    -max_total_time=${SECONDS}
    -rss_limit_mb=2048
    -timeout=10
    -print_final_stats=1
    -artifact_prefix=${ARTIFACTS}/
    ${corpora}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${FUZZER} failed (${result}); the input is in ${ARTIFACTS}")
endif()
