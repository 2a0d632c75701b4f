# SPDX-License-Identifier: MIT
# 64-bit Windows programs with mingw-w64's g++. Only its posix flavour has std::thread.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)

include("${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake")
