// SPDX-License-Identifier: MIT
#pragma once

// The one place that includes the system's headers. Public headers of the library do not include
// this file unless a class holds a Windows structure by value.

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif

#include <windows.h>

#include <locale.h>
#include <process.h>
#include <sys/timeb.h>
#include <time.h>
