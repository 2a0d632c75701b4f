# SPDX-License-Identifier: MIT
# What the mingw toolchains share.

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages may be installed anywhere: CMAKE_PREFIX_PATH names the place.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# A program then starts without the compiler's runtime DLLs beside it.
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -static")

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/run-in-wine")
