// SPDX-License-Identifier: MIT
#include "orvel/platform/kernel_wait.h"

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

static_assert(WaitStatus::kObject0 == WAIT_OBJECT_0);
static_assert(WaitStatus::kAbandoned0 == WAIT_ABANDONED_0);
static_assert(WaitStatus::kTimeout == WAIT_TIMEOUT);
static_assert(WaitStatus::kFailed == WAIT_FAILED);
static_assert(kWaitForever == INFINITE);
static_assert(kMaxWaitHandles == MAXIMUM_WAIT_OBJECTS);

WaitOutcome WaitForOne(void* handle, std::uint32_t timeoutMs) noexcept {
  const DWORD status = ::WaitForSingleObject(handle, timeoutMs);
  return {status, ::GetLastError()};
}

WaitOutcome WaitForAny(std::span<void* const> handles, std::uint32_t timeoutMs) noexcept {
  const DWORD status = ::WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(),
                                                FALSE, timeoutMs);
  return {status, ::GetLastError()};
}

WaitOutcome WaitForAnyOrInput(std::span<void* const> handles, std::uint32_t timeoutMs) noexcept {
  const DWORD status =
      ::MsgWaitForMultipleObjectsEx(static_cast<DWORD>(handles.size()), handles.data(), timeoutMs,
                                    QS_ALLINPUT, MWMO_INPUTAVAILABLE);
  return {status, ::GetLastError()};
}

void SleepFor(std::uint32_t timeMs) noexcept { ::Sleep(timeMs); }

}  // namespace Orvel::Detail
