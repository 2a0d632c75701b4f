// SPDX-License-Identifier: MIT
#include "tests/support/handle_count.h"

#include <cstdint>

#include "orvel/platform/windows_api.h"

namespace Orvel::Testing {

std::size_t CountOpenHandles() {
  // Handle values are multiples of four and reused from the lowest.
  constexpr std::uintptr_t kStep = 4;
  constexpr std::uintptr_t kEnd = 0x8000;
  const DWORD lastError = ::GetLastError();
  std::size_t count = 0;
  for (std::uintptr_t value = kStep; value < kEnd; value += kStep) {
    if (IsOpenHandle(reinterpret_cast<void*>(value))) ++count;
  }
  ::SetLastError(lastError);
  return count;
}

bool IsOpenHandle(void* handle) {
  DWORD flags = 0;
  return ::GetHandleInformation(handle, &flags) != FALSE;
}

}  // namespace Orvel::Testing
