# Runs the wkcache tool once and checks its exit code and what it printed.
#   PROGRAM        the tool
#   ARGS           its arguments, separated by "^^" (a ';' would not survive add_test)
#   EXPECT_EXIT    the exit code
#   EXPECT_STDOUT  optional regex the stripped stdout must match ("^$": nothing printed)
#   EXPECT_STDERR  the same for stderr
#   STDOUT_FILE    optional: stdout goes to this file (/dev/full) instead of being checked
#   ABSENT         optional: a path that must not exist after the run (an output left behind)
if(ARGS STREQUAL "")
  set(args)
else()
  string(REPLACE "^^" ";" args "${ARGS}")
endif()
if(STDOUT_FILE)
  execute_process(COMMAND "${PROGRAM}" ${args}
    RESULT_VARIABLE rc OUTPUT_FILE "${STDOUT_FILE}" ERROR_VARIABLE err)
  set(out "")
else()
  execute_process(COMMAND "${PROGRAM}" ${args}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
endif()
string(STRIP "${out}" out)
string(STRIP "${err}" err)

set(failures)
if(NOT rc STREQUAL "${EXPECT_EXIT}")
  list(APPEND failures "exit code '${rc}', expected ${EXPECT_EXIT}")
endif()
if(DEFINED EXPECT_STDOUT AND NOT EXPECT_STDOUT STREQUAL "" AND NOT out MATCHES "${EXPECT_STDOUT}")
  list(APPEND failures "stdout does not match '${EXPECT_STDOUT}'")
endif()
if(DEFINED EXPECT_STDERR AND NOT EXPECT_STDERR STREQUAL "" AND NOT err MATCHES "${EXPECT_STDERR}")
  list(APPEND failures "stderr does not match '${EXPECT_STDERR}'")
endif()
if(ABSENT AND EXISTS "${ABSENT}")
  list(APPEND failures "${ABSENT} exists, and should not")
endif()
if(failures)
  list(JOIN failures "\n  " text)
  message(FATAL_ERROR "wkcache ${args}:\n  ${text}\n--- stdout:\n${out}\n--- stderr:\n${err}")
endif()
