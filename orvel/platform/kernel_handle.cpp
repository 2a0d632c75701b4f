// SPDX-License-Identifier: MIT
#include "orvel/platform/kernel_handle.h"

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

LastErrorKeeper::LastErrorKeeper() noexcept : code_(::GetLastError()) {}

LastErrorKeeper::~LastErrorKeeper() { ::SetLastError(code_); }

void KernelHandlePolicy::Close(Handle handle) noexcept { ::CloseHandle(handle); }

KernelHandle CreateKernelEvent(EventReset reset) noexcept {
  return KernelHandle(
      ::CreateEventW(nullptr, reset == EventReset::kManual ? TRUE : FALSE, FALSE, nullptr));
}

bool SetKernelEvent(void* event) noexcept { return ::SetEvent(event) != FALSE; }

bool ResetKernelEvent(void* event) noexcept { return ::ResetEvent(event) != FALSE; }

std::uint32_t CurrentThreadId() noexcept { return ::GetCurrentThreadId(); }

std::uint32_t LastErrorCode() noexcept { return ::GetLastError(); }

void YieldThread() noexcept { ::SwitchToThread(); }

}  // namespace Orvel::Detail
