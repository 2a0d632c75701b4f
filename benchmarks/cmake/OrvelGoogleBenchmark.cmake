# SPDX-License-Identifier: MIT
# Makes benchmark::benchmark available, built with the compiler of this build.
#
# ORVEL_GOOGLE_BENCHMARK_DIR names Google Benchmark's sources; without it an installed package is
# used.
set(ORVEL_GOOGLE_BENCHMARK_DIR "" CACHE PATH "Folder of Google Benchmark's sources")

if(ORVEL_GOOGLE_BENCHMARK_DIR)
  # Applies while its build files are read, which neither install nor test themselves then.
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  set(BENCHMARK_ENABLE_TESTING OFF)
  set(BENCHMARK_ENABLE_INSTALL OFF)
  set(BENCHMARK_ENABLE_WERROR OFF)
  # Debian's source asks git for a version that it has not got; this makes it take its own.
  set(GIT_VERSION 0.0.0)
  # SYSTEM keeps our warnings away from its headers.
  add_subdirectory("${ORVEL_GOOGLE_BENCHMARK_DIR}" "${CMAKE_CURRENT_BINARY_DIR}/google-benchmark"
    EXCLUDE_FROM_ALL SYSTEM)
  if(NOT TARGET benchmark::benchmark)
    add_library(benchmark::benchmark ALIAS benchmark)
  endif()
else()
  find_package(benchmark CONFIG REQUIRED)
endif()
