# SPDX-License-Identifier: MIT
include_guard(GLOBAL)

# Gives one of this project's own targets its warnings and language dialect. The flags are private:
# a program that uses the library keeps its own.
function(orvel_set_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE
      /W4 /permissive- /utf-8 /EHsc /Zc:__cplusplus
      $<$<BOOL:${ORVEL_WARNINGS_AS_ERRORS}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
      -Wnon-virtual-dtor -Wold-style-cast
      $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
      $<$<BOOL:${ORVEL_WARNINGS_AS_ERRORS}>:-Werror>)
  endif()
endfunction()
