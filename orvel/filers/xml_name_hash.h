// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Orvel::Detail {

/// Hash of a name that grows character by character, so that the hashes of all beginnings of a
/// name come with it. Seeded anew in each process: names that collide cannot be prepared.
class XmlNameHash {
 public:
  /// With `ignoreCase`, names that differ only in the case of ASCII letters have one hash.
  explicit XmlNameHash(bool ignoreCase) noexcept;

  void Add(wchar_t c) noexcept;
  void Add(std::wstring_view text) noexcept {
    for (const wchar_t c : text) Add(c);
  }
  [[nodiscard]] std::uint64_t Get() const noexcept { return state_; }

 private:
  std::uint64_t state_;
  std::uint64_t factor_;
  bool ignoreCase_;
};

/// Hash of a whole name, several characters at a step. Seeded like XmlNameHash, with other values.
[[nodiscard]] std::uint64_t HashXmlName(std::wstring_view name, bool ignoreCase) noexcept;

}  // namespace Orvel::Detail
