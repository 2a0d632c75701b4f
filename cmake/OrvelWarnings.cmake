# SPDX-License-Identifier: MIT
include_guard(GLOBAL)

set(orvelMsvcRefusals "${CMAKE_CURRENT_LIST_DIR}/msvc_refusals.h" CACHE INTERNAL "")

# Gives one of this project's own targets its warnings and language dialect. The flags are private:
# a program that uses the library keeps its own.
function(orvel_set_warnings target)
  if(MSVC)
    # Off is what tells of no fault and what no compiler here can look for: conditions that are
    # constant (4127) and code that is unreachable (4702) for one size of a type or one argument of a
    # template, and the padding that alignas asks for (4324).
    target_compile_options(${target} PRIVATE
      /W4 /wd4127 /wd4702 /wd4324 /permissive- /utf-8 /EHsc /Zc:__cplusplus
      $<$<BOOL:${ORVEL_WARNINGS_AS_ERRORS}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
      -Wnon-virtual-dtor -Wold-style-cast
      "$<$<CXX_COMPILER_ID:Clang>:-Wthread-safety;SHELL:-include ${orvelMsvcRefusals}>"
      $<$<BOOL:${ORVEL_WARNINGS_AS_ERRORS}>:-Werror>)
  endif()
endfunction()
