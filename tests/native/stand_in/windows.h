// SPDX-License-Identifier: MIT
#pragma once

// The system calls that the threads of the library use, for programs of Linux, so that the
// library's sources, unchanged, can run under the sanitizers. Only what the library needs is here,
// and it behaves as the system's documentation says: the same tests run on both.

#include <cstddef>
#include <cstdint>
#include <mutex>

using BOOL = int;
using DWORD = std::uint32_t;
using LONGLONG = std::int64_t;
using HANDLE = void*;

#define TRUE 1
#define FALSE 0
#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED_0 128u
#define WAIT_TIMEOUT 258u
#define WAIT_FAILED 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64u
#define QS_ALLINPUT 0x4FFu
#define MWMO_INPUTAVAILABLE 4u
#define ERROR_INVALID_HANDLE 6u
#define ERROR_NO_SYSTEM_RESOURCES 1450u

union _LARGE_INTEGER {
  LONGLONG QuadPart;
};
using LARGE_INTEGER = _LARGE_INTEGER;
struct CRITICAL_SECTION {
  std::recursive_mutex mutex;
};

DWORD GetLastError();
void SetLastError(DWORD code);
DWORD GetCurrentThreadId();
void Sleep(DWORD milliseconds);
BOOL SwitchToThread();
void OutputDebugStringW(const wchar_t* text);
BOOL IsDebuggerPresent();
void DebugBreak();
BOOL QueryPerformanceCounter(LARGE_INTEGER* counter);
BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency);

void InitializeCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
BOOL TryEnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);

HANDLE CreateEventW(void* security, BOOL manualReset, BOOL initialState, const wchar_t* name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);
BOOL CloseHandle(HANDLE handle);
BOOL GetHandleInformation(HANDLE handle, DWORD* flags);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds);
DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* handles, DWORD milliseconds,
                                  DWORD wakeMask, DWORD flags);

using __time64_t = std::int64_t;
int _ctime64_s(char* buffer, std::size_t size, const __time64_t* time);
