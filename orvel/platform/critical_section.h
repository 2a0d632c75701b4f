// SPDX-License-Identifier: MIT
#pragma once

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

/// The system's recursive in-process lock, with the names that `std::scoped_lock` wants.
class CriticalSection {
 public:
  CriticalSection() noexcept { ::InitializeCriticalSection(&section_); }
  ~CriticalSection() { ::DeleteCriticalSection(&section_); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void lock() noexcept { ::EnterCriticalSection(&section_); }
  [[nodiscard]] bool try_lock() noexcept { return ::TryEnterCriticalSection(&section_) != FALSE; }
  void unlock() noexcept { ::LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_;
};

}  // namespace Orvel::Detail
