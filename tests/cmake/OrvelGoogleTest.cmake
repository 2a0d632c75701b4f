# SPDX-License-Identifier: MIT
# Makes GTest::gmock_main available, built with the compiler of this build.
#
# ORVEL_GOOGLETEST_DIR names GoogleTest's sources. Without it an installed package is used on
# Windows, or else the sources of its release are downloaded.

set(orvelGoogletestDefault "")
if(NOT CMAKE_HOST_WIN32 AND EXISTS /usr/src/googletest/CMakeLists.txt)
  set(orvelGoogletestDefault /usr/src/googletest)
endif()
set(ORVEL_GOOGLETEST_DIR "${orvelGoogletestDefault}" CACHE PATH "Folder of GoogleTest's sources")

# Applies while GoogleTest's own build files are read: they neither install themselves nor choose
# another MSVC runtime than the rest of the build.
set(INSTALL_GTEST OFF)
set(gtest_force_shared_crt ON)
set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
set(CMAKE_POLICY_DEFAULT_CMP0091 NEW)

if(ORVEL_GOOGLETEST_DIR)
  add_subdirectory("${ORVEL_GOOGLETEST_DIR}" "${CMAKE_CURRENT_BINARY_DIR}/googletest"
    EXCLUDE_FROM_ALL)
elseif(CMAKE_HOST_WIN32)
  include(FetchContent)
  FetchContent_Declare(googletest
    URL https://github.com/google/googletest/archive/refs/tags/release-1.12.1.tar.gz
    URL_HASH SHA256=81964fe578e9bd7c94dfdb09c8e4d6e6759e19967e397dbea48d1c10e45d0df2
    FIND_PACKAGE_ARGS NAMES GTest)
  FetchContent_MakeAvailable(googletest)
else()
  message(FATAL_ERROR
    "GoogleTest's sources were not found. Install the package googletest, name their folder in "
    "ORVEL_GOOGLETEST_DIR, or set ORVEL_BUILD_TESTS to OFF.")
endif()

foreach(orvelGoogletestTarget IN ITEMS gtest gtest_main gmock gmock_main)
  if(TARGET ${orvelGoogletestTarget})
    # Keeps our warnings away from its headers.
    set_target_properties(${orvelGoogletestTarget} PROPERTIES SYSTEM ON)
    # Its sources are not written for every warning that a newer compiler knows.
    target_compile_options(${orvelGoogletestTarget} PRIVATE
      $<IF:$<CXX_COMPILER_ID:MSVC>,/WX-,-Wno-error>)
  endif()
endforeach()
