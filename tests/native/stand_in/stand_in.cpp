// SPDX-License-Identifier: MIT
#include "stand_in.h"

#include <process.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/system_call_hook.h"

using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;

#if defined(__SANITIZE_THREAD__)
extern "C" {
void AnnotateIgnoreSyncBegin(const char* file, int line);
void AnnotateIgnoreSyncEnd(const char* file, int line);
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
void AnnotateIgnoreWritesBegin(const char* file, int line);
void AnnotateIgnoreWritesEnd(const char* file, int line);
void __tsan_acquire(void* address);
void __tsan_release(void* address);
// The C++ runtime is not instrumented: how it counts an exception's owners is not seen.
const char* __tsan_default_suppressions() {
  return "race:std::__exception_ptr::exception_ptr::_M_release\n";
}
}
#endif

namespace {

#if defined(__SANITIZE_THREAD__)
struct Unwatched {
  Unwatched() {
    AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
  }
  ~Unwatched() {
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
    AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
  }
};
void Publish(void* object) { __tsan_release(object); }
void Observe(void* object) { __tsan_acquire(object); }
#else
struct Unwatched {};
void Publish(void*) {}
void Observe(void*) {}
#endif

std::mutex kernelLock;

/// A stretch of the stand-in's own code. Its one lock would order threads that the real system
/// leaves unordered, and so hide races: the thread sanitizer is told not to look, and is shown the
/// order that waiting for an object gives by Publish and Observe.
struct KernelScope {
  Unwatched unwatched;
  std::unique_lock<std::mutex> lock{kernelLock};
};

struct KernelObject {
  bool signalled = false;
  bool resetsItself = false;
  char order = 0;  // its address stands for the object in Publish and Observe
};

struct Kernel {
  std::condition_variable changed;
  // By handle: small multiples of four that are used again, as the system's are. Null when closed.
  std::vector<std::shared_ptr<KernelObject>> objects;
  std::uint64_t calls = 0;
  std::uint64_t failingCall = 0;
};

Kernel& TheKernel() {
  static Kernel* const kernel = new Kernel;  // outlives every static that still calls it
  return *kernel;
}

thread_local DWORD lastError = 0;

/// What a call that can fail is to return instead of being made, if that was asked for.
std::optional<std::uint64_t> AnswerInstead(SystemCall call, std::uint64_t failure) {
  if (const auto answer = SystemCallHook::OnCall(call)) {
    lastError = answer->errorCode;
    errno = static_cast<int>(answer->errorCode);
    return answer->result;
  }
  const KernelScope scope;
  if (++TheKernel().calls != TheKernel().failingCall) return std::nullopt;
  lastError = ERROR_NO_SYSTEM_RESOURCES;
  errno = EAGAIN;
  return failure;
}

HANDLE AddHandle(std::shared_ptr<KernelObject> object) {
  const KernelScope scope;
  auto& objects = TheKernel().objects;
  auto free = std::find(objects.begin(), objects.end(), nullptr);
  if (free == objects.end()) free = objects.emplace(free);
  *free = std::move(object);
  return reinterpret_cast<HANDLE>((free - objects.begin() + 1) * 4);
}

/// The place of an open handle's object, else null.
std::shared_ptr<KernelObject>* Find(HANDLE handle) {
  auto& objects = TheKernel().objects;
  const std::size_t index = reinterpret_cast<std::uintptr_t>(handle) / 4 - 1;
  if (index < objects.size() && objects[index] != nullptr) return &objects[index];
  lastError = ERROR_INVALID_HANDLE;
  return nullptr;
}

DWORD Wait(SystemCall call, DWORD count, const HANDLE* handles, DWORD milliseconds) {
  if (const auto answer = AnswerInstead(call, WAIT_FAILED)) return static_cast<DWORD>(*answer);
  // INFINITE comes out as seven weeks, which no test sees the end of.
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  std::vector<std::shared_ptr<KernelObject>> objects;
  std::shared_ptr<KernelObject> reached;
  DWORD result = WAIT_TIMEOUT;
  {
    KernelScope scope;
    if (count > MAXIMUM_WAIT_OBJECTS) {
      lastError = ERROR_INVALID_PARAMETER;
      return WAIT_FAILED;
    }
    for (DWORD index = 0; index < count; ++index) {
      const auto* const object = Find(handles[index]);
      if (object == nullptr) return WAIT_FAILED;
      objects.push_back(*object);
    }
    const auto takeSignal = [&] {
      for (DWORD index = 0; index < count; ++index) {
        if (!objects[index]->signalled) continue;
        reached = objects[index];
        if (reached->resetsItself) reached->signalled = false;
        result = WAIT_OBJECT_0 + index;
        return true;
      }
      return false;
    };
    TheKernel().changed.wait_until(scope.lock, end, takeSignal);
  }
  if (reached != nullptr) Observe(&reached->order);
  return result;
}

BOOL ChangeEvent(SystemCall call, HANDLE event, bool signalled) {
  if (const auto answer = AnswerInstead(call, FALSE)) return static_cast<BOOL>(*answer);
  std::shared_ptr<KernelObject> object;
  {
    const KernelScope scope;
    const auto* const found = Find(event);
    if (found == nullptr) return FALSE;
    object = *found;
  }
  if (signalled) Publish(&object->order);  // before it can be observed
  const KernelScope scope;
  object->signalled = signalled;
  TheKernel().changed.notify_all();
  return TRUE;
}

DWORD NewThreadId() {
  static std::atomic<DWORD> last{0};
  return last.fetch_add(4, std::memory_order_relaxed) + 4;
}

thread_local DWORD currentThreadId = 0;

}  // namespace

std::uint64_t StandIn::FailCall(std::uint64_t n) {
  const KernelScope scope;
  TheKernel().failingCall = n;
  return std::exchange(TheKernel().calls, 0);
}

DWORD GetLastError() { return lastError; }
void SetLastError(DWORD code) { lastError = code; }

DWORD GetCurrentThreadId() {
  if (currentThreadId == 0) currentThreadId = NewThreadId();
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
  const auto object = std::make_shared<KernelObject>();
  object->signalled = initialState != FALSE;
  object->resetsItself = manualReset == FALSE;
  return AddHandle(object);
}

BOOL SetEvent(HANDLE event) { return ChangeEvent(SystemCall::kSetEvent, event, true); }
BOOL ResetEvent(HANDLE event) { return ChangeEvent(SystemCall::kResetEvent, event, false); }

BOOL CloseHandle(HANDLE handle) {
  const KernelScope scope;
  auto* const object = Find(handle);
  if (object == nullptr) return FALSE;
  object->reset();
  return TRUE;
}

BOOL GetHandleInformation(HANDLE handle, DWORD* flags) {
  const KernelScope scope;
  *flags = 0;
  return Find(handle) != nullptr;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  return Wait(SystemCall::kWaitForSingleObject, 1, &handle, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL, DWORD milliseconds) {
  return Wait(SystemCall::kWaitForMultipleObjects, count, handles, milliseconds);
}

// No thread has messages; they take one of the places all the same.
DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* handles, DWORD milliseconds, DWORD,
                                  DWORD) {
  const DWORD places = count == MAXIMUM_WAIT_OBJECTS ? count + 1 : count;
  return WaitForMultipleObjects(places, handles, FALSE, milliseconds);
}

std::uintptr_t _beginthreadex(void*, unsigned, unsigned (*entry)(void*), void* argument, unsigned,
                              unsigned* threadId) {
  if (const auto answer = AnswerInstead(SystemCall::kBeginThread, 0)) return *answer;
  const auto object = std::make_shared<KernelObject>();
  const HANDLE handle = AddHandle(object);
  const DWORD id = *threadId = NewThreadId();
  std::thread([=] {
    currentThreadId = id;
    entry(argument);
    Publish(&object->order);
    const KernelScope scope;
    object->signalled = true;
    TheKernel().changed.notify_all();
  }).detach();
  return reinterpret_cast<std::uintptr_t>(handle);
}

int _ctime64_s(char* buffer, std::size_t, const __time64_t* time) {
  const std::time_t seconds = *time;
  return ctime_r(&seconds, buffer) != nullptr ? 0 : errno;
}
