// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "orvel/platform/critical_section.h"
#include "orvel/platform/kernel_handle.h"

namespace Orvel::Detail {

/// Returns the low byte of each character of `name`, which is how names are kept; empty for null.
/// Raises `std::bad_alloc`.
[[nodiscard]] inline std::string NarrowName(const wchar_t* name) {
  std::string text;
  for (; name != nullptr && *name != L'\0'; ++name) {
    text.push_back(static_cast<char>(static_cast<unsigned>(*name) & 0xFFu));
  }
  return text;
}

/// Names by key, ordered, the first name of a key staying for good.
///
/// Thread-safe: each operation holds the table's own lock and nothing else.
template <class Key>
class NameTable {
 public:
  /// Adds `name` unless the key has one. Without memory for it the name is dropped.
  void Add(Key key, const wchar_t* name) noexcept {
    const std::scoped_lock lock(section_);
    if (names_.find(key) != names_.end()) return;
    try {
      names_.emplace(key, NarrowName(name));
    } catch (const std::bad_alloc&) {
      // A log without this name is better than a failure in the code that is being logged.
    }
  }

  /// Appends the key's name to `text`. Returns false, and leaves `text` unchanged, when it has
  /// none.
  bool AppendName(Key key, std::string& text) const {
    const std::scoped_lock lock(section_);
    const auto found = names_.find(key);
    if (found == names_.end()) return false;
    text += found->second;
    return true;
  }

  /// Tries for up to `timeoutMs` milliseconds to lock the table; the result owns the lock if that
  /// succeeded. While a thread holds it, that thread's other calls do not wait.
  [[nodiscard]] std::unique_lock<CriticalSection> TryLockFor(std::uint32_t timeoutMs) const {
    return Orvel::Detail::TryLockFor(section_, timeoutMs);
  }

  /// Adds every name of this table to `other`, where names already there stay. Two tables may be
  /// copied into each other at once. Names for which there is no memory are dropped.
  void CopyInto(NameTable& other) const noexcept {
    std::unique_lock own(section_);
    for (;;) {
      const std::unique_lock theirs(other.section_, std::try_to_lock);
      if (theirs.owns_lock()) {
        try {
          other.names_.insert(names_.begin(), names_.end());
        } catch (const std::bad_alloc&) {
          // As in Add.
        }
        return;
      }
      // Backing off lets a copy in the other direction finish.
      own.unlock();
      YieldThread();
      own.lock();
    }
  }

 private:
  mutable CriticalSection section_;
  std::map<Key, std::string> names_;
};

}  // namespace Orvel::Detail
