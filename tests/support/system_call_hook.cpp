// SPDX-License-Identifier: MIT
#include "tests/support/system_call_hook.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "orvel/platform/windows_api.h"

namespace Orvel::Testing {
namespace {

// Found by thread id: a thread_local variable may itself need the calls that are caught. A slot's
// hook is touched by the thread only whose id is in it.
struct Slot {
  std::atomic<DWORD> threadId{0};
  SystemCallHook* hook = nullptr;
};
std::array<Slot, 16> slots;

void** FindImport(const char* name) {
  auto* const image = reinterpret_cast<std::byte*>(::GetModuleHandleW(nullptr));
  const auto& dos = *reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
  const auto& nt = *reinterpret_cast<const IMAGE_NT_HEADERS64*>(image + dos.e_lfanew);
  const IMAGE_DATA_DIRECTORY& imports =
      nt.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (auto* module =
           reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + imports.VirtualAddress);
       module->Name != 0; ++module) {
    auto* names = reinterpret_cast<const IMAGE_THUNK_DATA64*>(image + module->OriginalFirstThunk);
    auto* addresses = reinterpret_cast<IMAGE_THUNK_DATA64*>(image + module->FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
      if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal)) continue;
      const auto& entry =
          *reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(image + names->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(entry.Name), name) == 0) {
        return reinterpret_cast<void**>(&addresses->u1.Function);
      }
    }
  }
  throw std::runtime_error(std::string("this program does not import ") + name);
}

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
void Install(const char* name, Function*) {
  using Patch = Replacement<kCall, Function*>;
  void** const import = FindImport(name);
  DWORD protection = 0;
  ::VirtualProtect(import, sizeof *import, PAGE_READWRITE, &protection);
  Patch::original = reinterpret_cast<typename Patch::Pointer>(*import);
  *import = reinterpret_cast<void*>(&Patch::Call);
  ::VirtualProtect(import, sizeof *import, protection, &protection);
}

void InstallAll() {
  Install<SystemCall::kCreateEvent>("CreateEventW", &::CreateEventW);
  Install<SystemCall::kSetEvent>("SetEvent", &::SetEvent);
  Install<SystemCall::kResetEvent>("ResetEvent", &::ResetEvent);
  Install<SystemCall::kWaitForSingleObject>("WaitForSingleObject", &::WaitForSingleObject);
  Install<SystemCall::kWaitForMultipleObjects>("WaitForMultipleObjects", &::WaitForMultipleObjects);
  Install<SystemCall::kBeginThread>("_beginthreadex", &::_beginthreadex);
  Install<SystemCall::kQueryCounter>("QueryPerformanceCounter", &::QueryPerformanceCounter);
  Install<SystemCall::kSleep>("Sleep", &::Sleep);
}

}  // namespace

SystemCallHook::SystemCallHook(SystemCall call, int skipped, std::function<void()> before,
                               std::optional<SystemAnswer> answer)
    : call_(call), skipped_(skipped), before_(std::move(before)), answer_(answer), slot_(0) {
  static const bool installed = (InstallAll(), true);
  static_cast<void>(installed);
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
    if (slot.threadId.load() != threadId) continue;
    SystemCallHook* const hook = slot.hook;
    if (hook == nullptr || hook->call_ != call || hook->reached_) continue;
    if (hook->skipped_-- > 0) continue;
    hook->reached_ = true;
    if (hook->before_) hook->before_();
    return hook->answer_;
  }
  return std::nullopt;
}

}  // namespace Orvel::Testing
