# SPDX-License-Identifier: MIT
# Runs the command line in PROGRAM, a list, and fails unless it says that it will crash and then does
# not end with 0. By a script, because on Windows ctest has a crash fail also when it is expected.
execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(result EQUAL 0 OR NOT output MATCHES "crashing")
  message(FATAL_ERROR "${PROGRAM} ended with ${result} and printed \"${output}\"")
endif()
