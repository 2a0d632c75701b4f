// SPDX-License-Identifier: MIT
#pragma once

// The system's headers, for sources. Not for public headers, which do without them: a program
// chooses for itself what it gets of <windows.h>, and when.

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

#include <process.h>
