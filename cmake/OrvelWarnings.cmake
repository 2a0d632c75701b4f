# SPDX-License-Identifier: MIT
include_guard(GLOBAL)

set(orvelMsvcRefusals "${CMAKE_CURRENT_LIST_DIR}/msvc_refusals.h" CACHE INTERNAL "")

# Gives one of this project's own targets its warnings and language dialect. The flags are private:
# a program that uses the library keeps its own.
function(orvel_set_warnings target)
  if(MSVC)
    # Switched off: warnings that point to no fault and that g++ and clang do not have. They are about
    # conditions that are constant (4127) or code that is unreachable (4702) for one size of a type or
    # one argument of a template, and about the padding that alignas asks for (4324).
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
