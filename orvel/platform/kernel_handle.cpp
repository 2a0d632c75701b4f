// SPDX-License-Identifier: MIT
#include "orvel/platform/kernel_handle.h"

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

void KernelHandle::Close() noexcept {
  if (handle_ == nullptr) return;
  const DWORD lastError = ::GetLastError();
  ::CloseHandle(std::exchange(handle_, nullptr));
  ::SetLastError(lastError);
}

KernelHandle CreateKernelEvent(EventReset reset) noexcept {
  return KernelHandle(
      ::CreateEventW(nullptr, reset == EventReset::kManual ? TRUE : FALSE, FALSE, nullptr));
}

}  // namespace Orvel::Detail
