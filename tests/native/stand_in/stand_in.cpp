// SPDX-License-Identifier: MIT
#include "stand_in.h"

#include <process.h>
#include <windows.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <optional>
#include <thread>

#include "tests/support/system_call_hook.h"

using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;

#if defined(__SANITIZE_THREAD__)
// The C++ runtime is not instrumented: how it counts an exception's owners is not seen.
extern "C" const char* __tsan_default_suppressions() {
  return "race:std::__exception_ptr::exception_ptr::_M_release\n";
}
#endif

namespace {

constexpr std::memory_order kRelaxed = std::memory_order_relaxed;

/// An event or a thread. Threads are ordered by its signal alone, released where it is set and
/// acquired where a wait takes it. A lock around it all would order threads that the real system
/// leaves unordered, and so hide races from the thread sanitizer.
///
/// All in one atomic, so that nothing that was done to it is seen after it was opened anew.
using KernelObject = std::atomic<unsigned>;
constexpr unsigned kIsOpen = 1;
constexpr unsigned kRuns = 2;  // a thread, which keeps it from being used again
constexpr unsigned kIsSignalled = 4;
constexpr unsigned kResetsItself = 8;

// By handle: small multiples of four that are used again, as the system's are.
std::array<KernelObject, 0x2000> objects;
std::atomic<std::uint64_t> calls{0};
std::atomic<std::uint64_t> failingCall{0};
thread_local DWORD lastError = 0;
thread_local DWORD currentThreadId = 0;

/// What a call that can fail is to return instead of being made, if that was asked for.
std::optional<std::uint64_t> AnswerInstead(SystemCall call, std::uint64_t failure) {
  if (const auto answer = SystemCallHook::OnCall(call)) {
    lastError = answer->errorCode;
    errno = static_cast<int>(answer->errorCode);
    return answer->result;
  }
  if (calls.fetch_add(1, kRelaxed) + 1 != failingCall.load(kRelaxed)) return std::nullopt;
  lastError = ERROR_NO_SYSTEM_RESOURCES;
  errno = EAGAIN;
  return failure;
}

HANDLE Open(unsigned kind) {
  for (std::uintptr_t index = 0;; ++index) {
    KernelObject& object = objects.at(index);
    unsigned last = object.load(kRelaxed);
    if ((last & (kIsOpen | kRuns)) == 0 &&
        object.compare_exchange_strong(last, kIsOpen | kind, kRelaxed)) {
      return reinterpret_cast<HANDLE>((index + 1) * 4);
    }
  }
}

/// The object of an open handle, else null.
KernelObject* Find(HANDLE handle) {
  const std::size_t index = reinterpret_cast<std::uintptr_t>(handle) / 4 - 1;
  if (index < objects.size() && (objects[index].load(kRelaxed) & kIsOpen) != 0) {
    return &objects[index];
  }
  lastError = ERROR_INVALID_HANDLE;
  return nullptr;
}

DWORD Wait(SystemCall call, DWORD count, const HANDLE* handles, DWORD milliseconds) {
  if (const auto answer = AnswerInstead(call, WAIT_FAILED)) return static_cast<DWORD>(*answer);
  // INFINITE comes out as seven weeks, which no test sees the end of.
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (int looks = 0;; ++looks) {
    const bool isLast = std::chrono::steady_clock::now() >= end;
    for (DWORD index = 0; index < count; ++index) {
      KernelObject* const object = Find(handles[index]);
      if (object == nullptr) return WAIT_FAILED;
      unsigned state = object->load(kRelaxed);
      while ((state & kIsSignalled) != 0) {
        const unsigned next = (state & kResetsItself) != 0 ? state & ~kIsSignalled : state;
        if (object->compare_exchange_weak(state, next, std::memory_order_acquire, kRelaxed)) {
          return WAIT_OBJECT_0 + index;
        }
      }
    }
    if (isLast) return WAIT_TIMEOUT;
    std::this_thread::yield();
    if (looks > 100) std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
}

BOOL ChangeEvent(SystemCall call, HANDLE event, bool isSignalled) {
  if (const auto answer = AnswerInstead(call, FALSE)) return static_cast<BOOL>(*answer);
  KernelObject* const object = Find(event);
  if (object == nullptr) return FALSE;
  if (isSignalled) {
    object->fetch_or(kIsSignalled, std::memory_order_release);
    std::this_thread::yield();  // on the system, too, who waits may go on first
  } else {
    object->fetch_and(~kIsSignalled, kRelaxed);
  }
  return TRUE;
}

}  // namespace

std::uint64_t StandIn::FailCall(std::uint64_t n) {
  failingCall.store(n, kRelaxed);
  return calls.exchange(0, kRelaxed);
}

DWORD GetLastError() { return lastError; }
void SetLastError(DWORD code) { lastError = code; }

DWORD GetCurrentThreadId() {
  static std::atomic<DWORD> last{0x10000};
  if (currentThreadId == 0) currentThreadId = last.fetch_add(4, kRelaxed);
  return currentThreadId;
}

void Sleep(DWORD milliseconds) {
  static_cast<void>(SystemCallHook::OnCall(SystemCall::kSleep));
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
BOOL SwitchToThread() {
  std::this_thread::yield();
  return TRUE;
}

void OutputDebugStringW(const wchar_t*) {}
BOOL IsDebuggerPresent() { return FALSE; }
void DebugBreak() {}

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) {
  static_cast<void>(SystemCallHook::OnCall(SystemCall::kQueryCounter));
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  counter->QuadPart = now / std::chrono::nanoseconds(100);
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  frequency->QuadPart = 10'000'000;
  return TRUE;
}

// The structure's member comes and goes with it.
void InitializeCriticalSection(CRITICAL_SECTION*) {}
void DeleteCriticalSection(CRITICAL_SECTION*) {}
void EnterCriticalSection(CRITICAL_SECTION* section) { section->mutex.lock(); }
BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) { return section->mutex.try_lock(); }
void LeaveCriticalSection(CRITICAL_SECTION* section) { section->mutex.unlock(); }

HANDLE CreateEventW(void*, BOOL manualReset, BOOL initialState, const wchar_t*) {
  if (const auto answer = AnswerInstead(SystemCall::kCreateEvent, 0)) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(*answer));
  }
  return Open((initialState != FALSE ? kIsSignalled : 0) |
              (manualReset == FALSE ? kResetsItself : 0));
}

BOOL SetEvent(HANDLE event) { return ChangeEvent(SystemCall::kSetEvent, event, true); }
BOOL ResetEvent(HANDLE event) { return ChangeEvent(SystemCall::kResetEvent, event, false); }

BOOL CloseHandle(HANDLE handle) {
  KernelObject* const object = Find(handle);
  if (object == nullptr) return FALSE;
  object->fetch_and(~kIsOpen, kRelaxed);
  return TRUE;
}

BOOL GetHandleInformation(HANDLE handle, DWORD* flags) {
  *flags = 0;
  return Find(handle) != nullptr;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  return Wait(SystemCall::kWaitForSingleObject, 1, &handle, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL, DWORD milliseconds) {
  return Wait(SystemCall::kWaitForMultipleObjects, count, handles, milliseconds);
}

// No thread has messages.
DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* handles, DWORD milliseconds, DWORD,
                                  DWORD) {
  return WaitForMultipleObjects(count, handles, FALSE, milliseconds);
}

std::uintptr_t _beginthreadex(void*, unsigned, unsigned (*entry)(void*), void* argument, unsigned,
                              unsigned* threadId) {
  if (const auto answer = AnswerInstead(SystemCall::kBeginThread, 0)) return *answer;
  const auto handle = reinterpret_cast<std::uintptr_t>(Open(kRuns));
  // As the handle, the id is used again once the thread has ended and its handle is closed.
  *threadId = static_cast<DWORD>(handle);
  std::thread([id = *threadId, entry, argument, &thread = objects[handle / 4 - 1]] {
    currentThreadId = id;
    entry(argument);
    // In one step, so that whoever saw the thread end and closes its handle gets both again.
    thread.fetch_xor(kRuns | kIsSignalled, std::memory_order_release);
  }).detach();
  static_cast<void>(SystemCallHook::OnCall(SystemCall::kThreadBegun));
  return handle;
}

int _ctime64_s(char* buffer, std::size_t, const __time64_t* time) {
  const std::time_t seconds = *time;
  return ctime_r(&seconds, buffer) != nullptr ? 0 : errno;
}
