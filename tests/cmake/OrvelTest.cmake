# SPDX-License-Identifier: MIT

# What costs most of the time that compiling a test takes; precompiled once for all of them.
set(orvelTestHeaders
  <gmock/gmock.h> <gtest/gtest.h> <chrono> <functional> <memory> <string> <thread> <vector>)

# orvel_add_test(<name> <source>... [LIBRARIES <target>...] [LABELS <label>...] [TIMEOUT <seconds>])
#
# Builds one test program on GoogleTest and registers it as one test, for a whole folder where that
# can be: linking a program and starting it under Wine is what costs. A deadlock fails at TIMEOUT, 60
# seconds unless given.
function(orvel_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "LIBRARIES;LABELS")
  if(NOT DEFINED arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()

  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF)
  orvel_set_warnings(${name})
  target_link_libraries(${name} PRIVATE
    orvel::orvel orvel_test_support ${arg_LIBRARIES} GTest::gmock_main)
  if(MSVC)  # takes such a header only with the very definitions that it was compiled with
    target_precompile_headers(${name} PRIVATE ${orvelTestHeaders})
  else()
    target_precompile_headers(${name} REUSE_FROM orvel_test_support)
  endif()

  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}"
    ENVIRONMENT "TEST_PREMATURE_EXIT_FILE=${name}.unfinished")
endfunction()
