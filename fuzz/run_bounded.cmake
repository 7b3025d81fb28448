# Runs the fuzzer for SECONDS with seed 1 over a fresh copy of CORPUS in WORK;
# a crash leaves its input in WORK as crash-<sha1>.
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
file(COPY "${CORPUS}/" DESTINATION "${WORK}/corpus")
# Stack traces need a symbolizer; an older one reads clang-16's output too.
find_program(symbolizer NAMES llvm-symbolizer-16 llvm-symbolizer PATHS /usr/lib/llvm-16/bin)
if(symbolizer)
  set(ENV{ASAN_SYMBOLIZER_PATH} "${symbolizer}")
endif()
execute_process(
  COMMAND "${FUZZER}" -seed=1 -max_total_time=${SECONDS} -timeout=60 -rss_limit_mb=2048
          -print_final_stats=1 -close_fd_mask=2 "-artifact_prefix=${WORK}/" "${WORK}/corpus"
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  file(GLOB crashes "${WORK}/crash-*" "${WORK}/leak-*" "${WORK}/timeout-*" "${WORK}/oom-*")
  message(FATAL_ERROR "the fuzzer stopped with ${status}; inputs: ${crashes}")
endif()
