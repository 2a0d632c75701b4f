// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace Orvel::Detail {

/// The system's recursive in-process lock, with the names that `std::scoped_lock` wants.
///
/// Thread-safe. Not to be destroyed while it is held or waited for.
class CriticalSection {
 public:
  CriticalSection() noexcept;
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void lock() noexcept;
  [[nodiscard]] bool try_lock() noexcept;
  void unlock() noexcept;
  /// Tries for up to `timeoutMs` milliseconds. For crash reports: the thread that holds the lock
  /// may never run again.
  [[nodiscard]] bool TryLockFor(std::uint32_t timeoutMs) noexcept;

 private:
  // Room for the system's structure: public headers hold this class by value, and the system's
  // header is not to come along with them.
  static constexpr std::size_t kSizeInBytes = 4 * sizeof(void*) + 8;
  alignas(void*) std::byte storage_[kSizeInBytes]{};
};

/// Locks `section` if that is possible within `timeoutMs` milliseconds; the result owns the lock if
/// it was.
[[nodiscard]] inline std::unique_lock<CriticalSection> TryLockFor(CriticalSection& section,
                                                                  std::uint32_t timeoutMs) {
  if (!section.TryLockFor(timeoutMs)) return {};
  return std::unique_lock(section, std::adopt_lock);
}

}  // namespace Orvel::Detail
