// SPDX-License-Identifier: MIT
#pragma once

// Public headers hold this class by value, so no macro is defined here that would narrow what the
// including program gets of the system's header.
#include <windows.h>

namespace Orvel::Detail {

/// The system's recursive in-process lock, with the names that `std::scoped_lock` wants.
class CriticalSection {
 public:
  CriticalSection() noexcept { ::InitializeCriticalSection(&section_); }
  ~CriticalSection() { ::DeleteCriticalSection(&section_); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void lock() noexcept { ::EnterCriticalSection(&section_); }
  [[nodiscard]] bool try_lock() noexcept { return ::TryEnterCriticalSection(&section_) != 0; }
  void unlock() noexcept { ::LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_{};
};

}  // namespace Orvel::Detail
