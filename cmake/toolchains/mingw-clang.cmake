# SPDX-License-Identifier: MIT
# 64-bit Windows programs with clang, on the headers and libraries of mingw-w64's g++.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)

# Without this clang looks for system headers among those of the build machine.
set(CMAKE_SYSROOT /usr/x86_64-w64-mingw32)

# clang does not recognise the folder of the posix flavour as a GCC installation.
execute_process(
  COMMAND x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++.a
  OUTPUT_VARIABLE orvelLibstdcxx
  OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET orvelLibstdcxx PARENT_PATH orvelGccDir)

# g++ keeps thread-local variables by emulation, also those behind std::call_once in libstdc++.
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -femulated-tls")
foreach(orvelIncludeDir IN ITEMS c++ c++/x86_64-w64-mingw32 c++/backward)
  string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${orvelGccDir}/include/${orvelIncludeDir}")
endforeach()

# Not lld: in what version 14 links, an exception passes the functions of libstdc++ without their
# handlers. GNU ld remarks on sections that the two compilers lay out differently, hence no warnings.
# The flag for headers means nothing to the linker.
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-fuse-ld=bfd -Wl,--no-warnings -L${orvelGccDir} -Wno-unused-command-line-argument")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")

# The static libstdc++ needs the unwinder and the threads behind it, and clang names neither.
set(CMAKE_CXX_STANDARD_LIBRARIES
  "-lstdc++ -lgcc_eh -lwinpthread -lkernel32 -luser32 -lgdi32 -lwinspool -lshell32 -lole32 -loleaut32 -luuid -lcomdlg32 -ladvapi32"
  CACHE STRING "Libraries linked into every program")

include("${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake")
