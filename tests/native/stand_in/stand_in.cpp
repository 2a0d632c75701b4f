// SPDX-License-Identifier: MIT
#include "stand_in.h"

#include <objbase.h>
#include <process.h>
#include <windows.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include <sched.h>
#include <sys/time.h>
#include <unistd.h>

#include "tests/support/system_call_hook.h"

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
}
#endif

using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;

namespace {

/// A stretch of the stand-in's own code. Its one lock would order threads that the real system
/// leaves unordered, and so hide races: the thread sanitizer is told not to look, and is shown the
/// order that waiting for an object gives by Publish and Observe.
class KernelScope {
 public:
  KernelScope() {
#if defined(__SANITIZE_THREAD__)
    AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
#endif
    pthread_mutex_lock(&Lock());
  }
  KernelScope(const KernelScope&) = delete;
  KernelScope& operator=(const KernelScope&) = delete;
  ~KernelScope() {
    pthread_mutex_unlock(&Lock());
#if defined(__SANITIZE_THREAD__)
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
    AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
#endif
  }

  static pthread_mutex_t& Lock() {
    static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    return lock;
  }
};

void Publish([[maybe_unused]] void* object) {
#if defined(__SANITIZE_THREAD__)
  __tsan_release(object);
#endif
}

void Observe([[maybe_unused]] void* object) {
#if defined(__SANITIZE_THREAD__)
  __tsan_acquire(object);
#endif
}

struct KernelObject {
  bool signalled = false;
  bool resetsItself = false;
  bool isMutex = false;
  bool isAbandoned = false;  // a mutex whose owner ended
  DWORD owner = 0;           // of a mutex
  char order = 0;            // its address stands for the object in Publish and Observe
};

struct Kernel {
  pthread_cond_t changed;
  // Handles are small multiples of four and used again, as the system's are.
  std::map<std::uintptr_t, std::shared_ptr<KernelObject>> handles;
  std::set<DWORD> threadsWithMessages;
  std::list<PVECTORED_EXCEPTION_HANDLER> exceptionHandlers;
  std::uint64_t calls = 0;
  std::uint64_t failingCall = 0;

  Kernel() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&changed, &attributes);
    pthread_condattr_destroy(&attributes);
  }
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
  Kernel& kernel = TheKernel();
  std::uintptr_t handle = 4;
  for (const auto& [used, ignored] : kernel.handles) {
    if (used != handle) break;
    handle += 4;
  }
  kernel.handles.emplace(handle, std::move(object));
  return reinterpret_cast<HANDLE>(handle);
}

std::shared_ptr<KernelObject> Find(HANDLE handle) {
  Kernel& kernel = TheKernel();
  const auto found = kernel.handles.find(reinterpret_cast<std::uintptr_t>(handle));
  if (found != kernel.handles.end()) return found->second;
  lastError = ERROR_INVALID_HANDLE;
  return nullptr;
}

/// What the system does with the mutexes of a thread that ends.
struct MutexAbandoner {
  ~MutexAbandoner() {
    const KernelScope scope;
    for (const auto& [handle, object] : TheKernel().handles) {
      if (!object->isMutex || object->owner != GetCurrentThreadId()) continue;
      object->owner = 0;
      object->isAbandoned = object->signalled = true;
    }
    pthread_cond_broadcast(&TheKernel().changed);
  }
};

DWORD Wait(SystemCall call, DWORD count, const HANDLE* handles, DWORD milliseconds,
           bool forMessages) {
  if (const auto answer = AnswerInstead(call, WAIT_FAILED)) return static_cast<DWORD>(*answer);
  thread_local const MutexAbandoner abandoner;
  std::vector<std::shared_ptr<KernelObject>> objects;
  std::shared_ptr<KernelObject> reached;
  DWORD result = WAIT_TIMEOUT;
  {
    const KernelScope scope;
    Kernel& kernel = TheKernel();
    if (count > MAXIMUM_WAIT_OBJECTS - (forMessages ? 1 : 0)) {
      lastError = ERROR_INVALID_PARAMETER;
      return WAIT_FAILED;
    }
    for (DWORD index = 0; index < count; ++index) {
      objects.push_back(Find(handles[index]));
      if (objects.back() == nullptr) return WAIT_FAILED;
    }
    // INFINITE comes out as seven weeks, which no test sees the end of.
    const auto end = std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch() +
                                              std::chrono::milliseconds(milliseconds));
    const timespec deadline{end.count() / 1'000'000'000, end.count() % 1'000'000'000};
    for (bool timedOut = false;;) {
      for (DWORD index = 0; index < count && reached == nullptr; ++index) {
        if (!objects[index]->signalled) continue;
        reached = objects[index];
        if (reached->resetsItself) reached->signalled = false;
        result = (reached->isAbandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + index;
        reached->isAbandoned = false;
        if (reached->isMutex) reached->owner = GetCurrentThreadId();
      }
      if (reached != nullptr) break;
      if (forMessages && kernel.threadsWithMessages.count(GetCurrentThreadId()) != 0) {
        return WAIT_OBJECT_0 + count;
      }
      if (timedOut || milliseconds == 0) break;
      timedOut =
          pthread_cond_timedwait(&kernel.changed, &KernelScope::Lock(), &deadline) == ETIMEDOUT;
    }
  }
  if (reached != nullptr) Observe(&reached->order);
  return result;
}

BOOL ChangeEvent(SystemCall call, HANDLE event, bool signalled) {
  if (const auto answer = AnswerInstead(call, FALSE)) return static_cast<BOOL>(*answer);
  std::shared_ptr<KernelObject> object;
  {
    const KernelScope scope;
    object = Find(event);
    if (object == nullptr) return FALSE;
  }
  // Before it can be observed.
  if (signalled) Publish(&object->order);
  const KernelScope scope;
  object->signalled = signalled;
  if (signalled) pthread_cond_broadcast(&TheKernel().changed);
  return TRUE;
}

std::atomic<DWORD> lastThreadId{0};
thread_local DWORD currentThreadId = 0;

}  // namespace

void StandIn::FailCall(std::uint64_t n) {
  const KernelScope scope;
  TheKernel().calls = 0;
  TheKernel().failingCall = n;
}

std::uint64_t StandIn::CountCalls() {
  const KernelScope scope;
  return TheKernel().calls;
}

std::size_t StandIn::CountHandles() {
  const KernelScope scope;
  return TheKernel().handles.size();
}

DWORD GetLastError() { return lastError; }
void SetLastError(DWORD code) { lastError = code; }

DWORD GetCurrentThreadId() {
  if (currentThreadId == 0) {
    currentThreadId = lastThreadId.fetch_add(4, std::memory_order_relaxed) + 4;
  }
  return currentThreadId;
}

void Sleep(DWORD milliseconds) {
  static_cast<void>(SystemCallHook::OnCall(SystemCall::kSleep));
  usleep(milliseconds * 1000);
}
BOOL SwitchToThread() { return sched_yield() == 0; }

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) {
  static_cast<void>(SystemCallHook::OnCall(SystemCall::kQueryCounter));
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  counter->QuadPart = now.tv_sec * 10'000'000LL + now.tv_nsec / 100;
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  frequency->QuadPart = 10'000'000;
  return TRUE;
}

void InitializeCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&section->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void DeleteCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_destroy(&section->mutex); }
void EnterCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_lock(&section->mutex); }
BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) {
  return pthread_mutex_trylock(&section->mutex) == 0;
}
void LeaveCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_unlock(&section->mutex); }

HANDLE CreateEventW(void*, BOOL manualReset, BOOL initialState, const wchar_t*) {
  if (const auto answer = AnswerInstead(SystemCall::kCreateEvent, 0)) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(*answer));
  }
  const KernelScope scope;
  auto object = std::make_shared<KernelObject>();
  object->signalled = initialState != FALSE;
  object->resetsItself = manualReset == FALSE;
  return AddHandle(std::move(object));
}

BOOL SetEvent(HANDLE event) { return ChangeEvent(SystemCall::kSetEvent, event, true); }
BOOL ResetEvent(HANDLE event) { return ChangeEvent(SystemCall::kResetEvent, event, false); }

BOOL CloseHandle(HANDLE handle) {
  const KernelScope scope;
  if (Find(handle) == nullptr) return FALSE;
  TheKernel().handles.erase(reinterpret_cast<std::uintptr_t>(handle));
  return TRUE;
}

BOOL GetHandleInformation(HANDLE handle, DWORD* flags) {
  const KernelScope scope;
  *flags = 0;
  return Find(handle) != nullptr;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  return Wait(SystemCall::kWaitForSingleObject, 1, &handle, milliseconds, false);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL, DWORD milliseconds) {
  return Wait(SystemCall::kWaitForMultipleObjects, count, handles, milliseconds, false);
}

DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* handles, DWORD milliseconds, DWORD,
                                  DWORD) {
  return Wait(SystemCall::kWaitForMultipleObjects, count, handles, milliseconds, true);
}

HANDLE CreateMutexW(void*, BOOL, const wchar_t*) {
  const KernelScope scope;
  auto object = std::make_shared<KernelObject>();
  object->isMutex = object->signalled = object->resetsItself = true;
  return AddHandle(std::move(object));
}

BOOL ReleaseMutex(HANDLE mutex) {
  const KernelScope scope;
  const std::shared_ptr<KernelObject> object = Find(mutex);
  if (object == nullptr || object->owner != GetCurrentThreadId()) return FALSE;
  object->owner = 0;
  object->signalled = true;
  pthread_cond_broadcast(&TheKernel().changed);
  return TRUE;
}

BOOL PeekMessageW(MSG* message, void*, UINT, UINT, UINT remove) {
  const KernelScope scope;
  message->message = WM_APP;
  std::set<DWORD>& threads = TheKernel().threadsWithMessages;
  if (threads.count(GetCurrentThreadId()) == 0) return FALSE;
  if (remove == PM_REMOVE) threads.erase(GetCurrentThreadId());
  return TRUE;
}

BOOL PostThreadMessageW(DWORD threadId, UINT, WPARAM, LPARAM) {
  const KernelScope scope;
  TheKernel().threadsWithMessages.insert(threadId);
  pthread_cond_broadcast(&TheKernel().changed);
  return TRUE;
}

void* AddVectoredExceptionHandler(DWORD, PVECTORED_EXCEPTION_HANDLER handler) {
  const KernelScope scope;
  return &TheKernel().exceptionHandlers.emplace_front(handler);
}

DWORD RemoveVectoredExceptionHandler(void* handle) {
  const KernelScope scope;
  return static_cast<DWORD>(std::erase_if(TheKernel().exceptionHandlers,
                                          [=](const auto& one) { return &one == handle; }));
}

void RaiseException(DWORD code, DWORD, DWORD, const ULONG_PTR*) {
  EXCEPTION_RECORD record{code};
  EXCEPTION_POINTERS pointers{&record};
  const KernelScope scope;
  for (const PVECTORED_EXCEPTION_HANDLER handler : TheKernel().exceptionHandlers) {
    if (handler(&pointers) == EXCEPTION_CONTINUE_EXECUTION) return;
  }
  std::abort();
}

std::uintptr_t _beginthreadex(void*, unsigned, unsigned (*entry)(void*), void* argument, unsigned,
                              unsigned* threadId) {
  if (const auto answer = AnswerInstead(SystemCall::kBeginThread, 0)) return *answer;
  const auto object = std::make_shared<KernelObject>();
  const DWORD id = lastThreadId.fetch_add(4, std::memory_order_relaxed) + 4;
  HANDLE handle = nullptr;
  {
    const KernelScope scope;
    handle = AddHandle(object);
  }
  *threadId = id;
  std::thread([=] {
    currentThreadId = id;
    entry(argument);
    Publish(&object->order);
    const KernelScope scope;
    object->signalled = true;
    pthread_cond_broadcast(&TheKernel().changed);
  }).detach();
  return reinterpret_cast<std::uintptr_t>(handle);
}

int _ftime64_s(__timeb64* now) {
  timeval time{};
  gettimeofday(&time, nullptr);
  now->time = time.tv_sec;
  now->millitm = static_cast<unsigned short>(time.tv_usec / 1000);
  return 0;
}

int _ctime64_s(char* buffer, std::size_t, const __time64_t* time) {
  const std::time_t seconds = *time;
  return ctime_r(&seconds, buffer) != nullptr ? 0 : errno;
}

_locale_t _create_locale(int, const char* name) {
  return newlocale(LC_ALL_MASK, name, static_cast<locale_t>(nullptr));
}

void _free_locale(_locale_t locale) { freelocale(static_cast<locale_t>(locale)); }

int mbstowcs_s(std::size_t* converted, wchar_t* destination, std::size_t size, const char* source,
               std::size_t) {
  const std::size_t units = std::mbstowcs(destination, source, size);
  if (units == static_cast<std::size_t>(-1)) return EILSEQ;
  *converted = units + 1;
  return 0;
}

HRESULT CoInitializeEx(void*, DWORD) { return 0; }
void CoUninitialize() {}
