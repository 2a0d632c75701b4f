// SPDX-License-Identifier: MIT
#include "tests/support/system_call_hook.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "orvel/platform/windows_api.h"

#if defined(_WIN32)
#include "tests/support/import_slot.h"

// What can be caught, and the function that does it. In programs of Linux the stand-in for the
// system asks for the answers by itself.
#define ORVEL_FOR_EACH_CALL(DO)                       \
  DO(kCreateEvent, CreateEventW)                      \
  DO(kSetEvent, SetEvent)                             \
  DO(kResetEvent, ResetEvent)                         \
  DO(kWaitForSingleObject, WaitForSingleObject)       \
  DO(kWaitForMultipleObjects, WaitForMultipleObjects) \
  DO(kBeginThread, _beginthreadex)                    \
  DO(kCreateTimer, CreateWaitableTimerW)              \
  DO(kSetTimer, SetWaitableTimer)                     \
  DO(kQueryCounter, QueryPerformanceCounter)          \
  DO(kSleep, Sleep)                                   \
  DO(kFlushFile, FlushFileBuffers)                    \
  DO(kSetFileInformation, SetFileInformationByHandle)

// The slots of this program's import table, by the names that linkers give them.
#define ORVEL_DECLARE_SLOT(call, function) extern "C" void* __imp_##function;
ORVEL_FOR_EACH_CALL(ORVEL_DECLARE_SLOT)
#endif

namespace Orvel::Testing {
namespace {

// Found by thread id: a thread_local variable may itself need the calls that are caught. A slot's
// hook is touched by the thread only whose id is in it.
struct Slot {
  std::atomic<DWORD> threadId{0};
  SystemCallHook* hook = nullptr;
};
std::array<Slot, 16> slots;

#if defined(_WIN32)
template <SystemCall kCall, class Function>
struct Replacement;

template <SystemCall kCall, class Result, class... Arguments>
struct Replacement<kCall, Result (*)(Arguments...)> {
  using Pointer = Result (*)(Arguments...);
  static inline Pointer original = nullptr;

  static void Install(void*& slot) { ReplaceImport(slot, &Call, original); }
  static Result Call(Arguments... arguments) {
    const std::optional<SystemAnswer> answer = SystemCallHook::OnCall(kCall);
    if (!answer) {
      if constexpr (kCall == SystemCall::kBeginThread) {
        const Result handle = original(arguments...);
        static_cast<void>(SystemCallHook::OnCall(SystemCall::kThreadBegun));
        return handle;
      } else {
        return original(arguments...);
      }
    }
    ::SetLastError(answer->errorCode);
    errno = static_cast<int>(answer->errorCode);
    if constexpr (std::is_pointer_v<Result>) {
      return reinterpret_cast<Result>(static_cast<std::uintptr_t>(answer->result));
    } else {
      return static_cast<Result>(answer->result);
    }
  }
};

// Before there are other threads, which might call through a slot as it changes.
[[maybe_unused]] const bool isInstalled = [] {
#define ORVEL_INSTALL(call, function) \
  Replacement<SystemCall::call, decltype(&::function)>::Install(__imp_##function);
  ORVEL_FOR_EACH_CALL(ORVEL_INSTALL)
  return true;
}();
#endif

}  // namespace

SystemCallHook::SystemCallHook(SystemCall call, int skipped, std::function<void()> before,
                               std::optional<SystemAnswer> answer)
    : call_(call), skipped_(skipped), before_(std::move(before)), answer_(answer), slot_(0) {
  for (DWORD unused = 0; !slots[slot_].threadId.compare_exchange_strong(
           unused, ::GetCurrentThreadId(), std::memory_order_acquire);
       unused = 0) {
    if (++slot_ == slots.size()) throw std::runtime_error("too many hooks at a time");
  }
  slots[slot_].hook = this;
}

SystemCallHook::~SystemCallHook() {
  slots[slot_].hook = nullptr;
  slots[slot_].threadId.store(0, std::memory_order_release);
}

std::optional<SystemAnswer> SystemCallHook::OnCall(SystemCall call) {
  const DWORD threadId = ::GetCurrentThreadId();
  for (Slot& slot : slots) {
    // The id is this thread's only if it put it there itself. To acquire what others put there
    // would order threads that nothing orders, and so hide races from the thread sanitizer.
    const bool isOwn = slot.threadId.load(std::memory_order_relaxed) == threadId;
    SystemCallHook* const hook = isOwn ? slot.hook : nullptr;
    if (hook == nullptr || hook->call_ != call || hook->reached_ || hook->skipped_-- > 0) continue;
    hook->reached_ = true;
    if (hook->before_) hook->before_();
    return hook->answer_;
  }
  return std::nullopt;
}

}  // namespace Orvel::Testing
