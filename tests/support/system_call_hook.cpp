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

// The slots of this program's import table, by the names that linkers give them. In programs of
// Linux the stand-in for the system asks for the answers by itself.
extern "C" {
extern void* __imp_CreateEventW;
extern void* __imp_SetEvent;
extern void* __imp_ResetEvent;
extern void* __imp_WaitForSingleObject;
extern void* __imp_WaitForMultipleObjects;
extern void* __imp__beginthreadex;
extern void* __imp_CreateWaitableTimerW;
extern void* __imp_SetWaitableTimer;
extern void* __imp_QueryPerformanceCounter;
extern void* __imp_Sleep;
extern void* __imp_FlushFileBuffers;
extern void* __imp_SetFileInformationByHandle;
}
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

  static Result Call(Arguments... arguments) {
    const std::optional<SystemAnswer> answer = SystemCallHook::OnCall(kCall);
    if (!answer) return original(arguments...);
    ::SetLastError(answer->errorCode);
    errno = static_cast<int>(answer->errorCode);
    if constexpr (std::is_pointer_v<Result>) {
      return reinterpret_cast<Result>(static_cast<std::uintptr_t>(answer->result));
    } else {
      return static_cast<Result>(answer->result);
    }
  }
};

template <SystemCall kCall, class Function>
void Install(void*& imported, Function*) {
  using Patch = Replacement<kCall, Function*>;
  Patch::original = ReplaceImport(imported, &Patch::Call);
}

bool InstallAll() {
  Install<SystemCall::kCreateEvent>(__imp_CreateEventW, &::CreateEventW);
  Install<SystemCall::kSetEvent>(__imp_SetEvent, &::SetEvent);
  Install<SystemCall::kResetEvent>(__imp_ResetEvent, &::ResetEvent);
  Install<SystemCall::kWaitForSingleObject>(__imp_WaitForSingleObject, &::WaitForSingleObject);
  Install<SystemCall::kWaitForMultipleObjects>(__imp_WaitForMultipleObjects,
                                               &::WaitForMultipleObjects);
  Install<SystemCall::kBeginThread>(__imp__beginthreadex, &::_beginthreadex);
  Install<SystemCall::kCreateTimer>(__imp_CreateWaitableTimerW, &::CreateWaitableTimerW);
  Install<SystemCall::kSetTimer>(__imp_SetWaitableTimer, &::SetWaitableTimer);
  Install<SystemCall::kQueryCounter>(__imp_QueryPerformanceCounter, &::QueryPerformanceCounter);
  Install<SystemCall::kSleep>(__imp_Sleep, &::Sleep);
  Install<SystemCall::kFlushFile>(__imp_FlushFileBuffers, &::FlushFileBuffers);
  Install<SystemCall::kSetFileInformation>(__imp_SetFileInformationByHandle,
                                           &::SetFileInformationByHandle);
  return true;
}
#else
bool InstallAll() { return true; }
#endif

}  // namespace

SystemCallHook::SystemCallHook(SystemCall call, int skipped, std::function<void()> before,
                               std::optional<SystemAnswer> answer)
    : call_(call), skipped_(skipped), before_(std::move(before)), answer_(answer), slot_(0) {
  [[maybe_unused]] static const bool isInstalled = InstallAll();
  for (DWORD unused = 0;
       !slots[slot_].threadId.compare_exchange_strong(unused, ::GetCurrentThreadId()); unused = 0) {
    if (++slot_ == slots.size()) throw std::runtime_error("too many hooks at a time");
  }
  slots[slot_].hook = this;
}

SystemCallHook::~SystemCallHook() {
  slots[slot_].hook = nullptr;
  slots[slot_].threadId.store(0);
}

std::optional<SystemAnswer> SystemCallHook::OnCall(SystemCall call) {
  const DWORD threadId = ::GetCurrentThreadId();
  for (Slot& slot : slots) {
    SystemCallHook* const hook = slot.threadId.load() == threadId ? slot.hook : nullptr;
    if (hook == nullptr || hook->call_ != call || hook->reached_ || hook->skipped_-- > 0) continue;
    hook->reached_ = true;
    if (hook->before_) hook->before_();
    return hook->answer_;
  }
  return std::nullopt;
}

}  // namespace Orvel::Testing
