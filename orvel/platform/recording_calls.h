// SPDX-License-Identifier: MIT
#pragma once

// The system's functions that recording calls inline, in public headers. Declared as the system's
// own header declares them, before or after this one, instead of including it: that would bring
// its macros, and an older <winsock.h> that keeps a program from including <winsock2.h> later. The
// union's memory is one 64-bit number.
#if defined(_WIN32)
extern "C" {
union _LARGE_INTEGER;  // NOLINT(bugprone-reserved-identifier)
__declspec(dllimport) int __stdcall QueryPerformanceCounter(union _LARGE_INTEGER* counter);
__declspec(dllimport) unsigned long __stdcall GetCurrentThreadId(void);
}
#else
#include <windows.h>  // what stands in for the system in tests
#endif
