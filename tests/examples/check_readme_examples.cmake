# SPDX-License-Identifier: MIT
# Fails unless each example in README.md is the program that it says it is:
#
#   <!-- example: examples/hello_worker/main.cpp -->
#   ```cpp
#   the file from its first #include on
#   ```
#
# Run as cmake -DROOT=<repository> -P check_readme_examples.cmake

cmake_minimum_required(VERSION 3.25)

file(READ "${ROOT}/README.md" rest)
string(REPLACE "\r\n" "\n" rest "${rest}")
set(opening "<!-- example: ")
set(count 0)

while(TRUE)
  string(FIND "${rest}" "${opening}" start)
  if(start EQUAL -1)
    break()
  endif()
  string(LENGTH "${opening}" length)
  math(EXPR start "${start} + ${length}")
  string(SUBSTRING "${rest}" ${start} -1 rest)
  string(FIND "${rest}" " -->\n```cpp\n" pathEnd)
  if(pathEnd EQUAL -1)
    message(FATAL_ERROR "README.md: no code block right after the marker of an example")
  endif()
  string(SUBSTRING "${rest}" 0 ${pathEnd} path)
  string(LENGTH " -->\n```cpp\n" length)
  math(EXPR start "${pathEnd} + ${length}")
  string(SUBSTRING "${rest}" ${start} -1 rest)
  string(FIND "${rest}" "```" blockEnd)
  string(SUBSTRING "${rest}" 0 ${blockEnd} block)

  file(READ "${ROOT}/${path}" program)
  string(REPLACE "\r\n" "\n" program "${program}")
  string(FIND "${program}" "#include" start)
  string(SUBSTRING "${program}" ${start} -1 program)
  if(NOT "${block}" STREQUAL "${program}")
    message(FATAL_ERROR "README.md: the example is not what ${path} holds. It should be:\n${program}")
  endif()
  math(EXPR count "${count} + 1")
endwhile()

if(count EQUAL 0)
  message(FATAL_ERROR "README.md shows no example")
endif()
message(STATUS "Examples in README.md that agree with their program: ${count}")
