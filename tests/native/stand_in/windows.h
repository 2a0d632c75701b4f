// SPDX-License-Identifier: MIT
#pragma once

// The dozen system calls that the threads of the library use, for programs of Linux, so that the
// library's sources, unchanged, can run under the sanitizers. Only what the library needs is here,
// and it behaves as the system's documentation says; kernel_calls_test checks both alike.

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

using BOOL = int;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using LONGLONG = std::int64_t;
using UINT = unsigned int;
using ULONG_PTR = std::uintptr_t;
using HANDLE = void*;
using HRESULT = LONG;
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;

#define TRUE 1
#define FALSE 0
#define CALLBACK
#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED_0 128u
#define WAIT_TIMEOUT 258u
#define WAIT_FAILED 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64u
#define QS_ALLINPUT 0x4FFu
#define MWMO_INPUTAVAILABLE 4u
#define WM_APP 0x8000u
#define PM_NOREMOVE 0u
#define PM_REMOVE 1u
#define ERROR_INVALID_HANDLE 6u
#define ERROR_INVALID_PARAMETER 87u
#define ERROR_NO_SYSTEM_RESOURCES 1450u
#define EXCEPTION_CONTINUE_EXECUTION (-1)
#define EXCEPTION_CONTINUE_SEARCH 0
#define COINIT_MULTITHREADED 0u
#define _TRUNCATE (static_cast<std::size_t>(-1))

struct MSG {
  UINT message;
};
union LARGE_INTEGER {
  LONGLONG QuadPart;
};
struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
};
struct EXCEPTION_RECORD {
  DWORD ExceptionCode;
};
struct EXCEPTION_POINTERS {
  EXCEPTION_RECORD* ExceptionRecord;
};
using PVECTORED_EXCEPTION_HANDLER = LONG (*)(EXCEPTION_POINTERS*);

DWORD GetLastError();
void SetLastError(DWORD code);
DWORD GetCurrentThreadId();
void Sleep(DWORD milliseconds);
BOOL SwitchToThread();
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
HANDLE CreateMutexW(void* security, BOOL initialOwner, const wchar_t* name);
BOOL ReleaseMutex(HANDLE mutex);
BOOL PeekMessageW(MSG* message, void* window, UINT first, UINT last, UINT remove);
BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);

void* AddVectoredExceptionHandler(DWORD first, PVECTORED_EXCEPTION_HANDLER handler);
DWORD RemoveVectoredExceptionHandler(void* handle);
void RaiseException(DWORD code, DWORD flags, DWORD argumentCount, const ULONG_PTR* arguments);

struct __timeb64 {
  std::int64_t time;
  unsigned short millitm;
};
using __time64_t = std::int64_t;
int _ftime64_s(__timeb64* now);
int _ctime64_s(char* buffer, std::size_t size, const __time64_t* time);

using _locale_t = void*;
_locale_t _create_locale(int category, const char* name);
void _free_locale(_locale_t locale);
int mbstowcs_s(std::size_t* converted, wchar_t* destination, std::size_t size, const char* source,
               std::size_t count);
