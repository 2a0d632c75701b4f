// SPDX-License-Identifier: MIT
#include "orvel/platform/kernel_timer.h"

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

KernelHandle CreateKernelTimer(EventReset reset) noexcept {
  return KernelHandle(
      ::CreateWaitableTimerW(nullptr, reset == EventReset::kManual ? TRUE : FALSE, nullptr));
}

bool SetKernelTimer(void* timer, std::int64_t dueTime, std::uint32_t periodMs) noexcept {
  LARGE_INTEGER due;
  due.QuadPart = dueTime;
  return ::SetWaitableTimer(timer, &due, static_cast<LONG>(periodMs), nullptr, nullptr, FALSE) !=
         FALSE;
}

bool CancelKernelTimer(void* timer) noexcept { return ::CancelWaitableTimer(timer) != FALSE; }

}  // namespace Orvel::Detail
