// SPDX-License-Identifier: MIT
// Included before every source that clang compiles: warns of names that Visual Studio refuses and
// the compilers here do not. The list of functions is what C++ code is likely to use.
#pragma once

// The standard headers take macros of these names away; each is read only once.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>

// <windows.h> defines them as macros where the program does not object.
#define min(...) min(__VA_ARGS__)
#define max(...) max(__VA_ARGS__)
#pragma clang deprecated(min, "write (std::min)(a, b): <windows.h> has a macro of this name")
#pragma clang deprecated(max, "write (std::max)(a, b): <windows.h> has a macro of this name")

// A keyword where a statement begins.
#define import import
#pragma clang deprecated(import)

// Microsoft's C library marks them as deprecated.
#define fopen fopen
#define freopen freopen
#define fscanf fscanf
#define getenv getenv
#define gmtime gmtime
#define localtime localtime
#define mbstowcs mbstowcs
#define sprintf sprintf
#define sscanf sscanf
#define strcat strcat
#define strcpy strcpy
#define strerror strerror
#define strncpy strncpy
#define strtok strtok
#define swscanf swscanf
#define wcscat wcscat
#define wcscpy wcscpy
#define wcsncpy wcsncpy
#define wcstombs wcstombs
#pragma clang deprecated(fopen)
#pragma clang deprecated(freopen)
#pragma clang deprecated(fscanf)
#pragma clang deprecated(getenv)
#pragma clang deprecated(gmtime)
#pragma clang deprecated(localtime)
#pragma clang deprecated(mbstowcs)
#pragma clang deprecated(sprintf)
#pragma clang deprecated(sscanf)
#pragma clang deprecated(strcat)
#pragma clang deprecated(strcpy)
#pragma clang deprecated(strerror)
#pragma clang deprecated(strncpy)
#pragma clang deprecated(strtok)
#pragma clang deprecated(swscanf)
#pragma clang deprecated(wcscat)
#pragma clang deprecated(wcscpy)
#pragma clang deprecated(wcsncpy)
#pragma clang deprecated(wcstombs)
