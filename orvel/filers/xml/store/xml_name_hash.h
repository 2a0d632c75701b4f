// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Orvel::Detail {

/// What the hashes of one process have of its own: names that collide cannot be prepared.
struct XmlHashSeed {
  std::uint64_t start;
  std::uint64_t factor;        // odd
  std::uint64_t secondFactor;  // odd
};

/// A seed for each number; numbers that are close give seeds that are not.
[[nodiscard]] XmlHashSeed MakeXmlHashSeed(std::uint64_t number) noexcept;

/// The seed of this process, the same for as long as it runs.
[[nodiscard]] const XmlHashSeed& GetXmlHashSeed() noexcept;

/// Hash of a name that grows character by character, so that the hashes of all beginnings of a
/// name come with it. All bits of Get() are of use, whatever the seed.
class XmlNameHash {
 public:
  /// With `ignoreCase`, names that differ only in the case of ASCII letters have one hash.
  explicit XmlNameHash(bool ignoreCase, const XmlHashSeed& seed = GetXmlHashSeed()) noexcept
      : state_(seed.start), factor_(seed.factor), ignoreCase_(ignoreCase) {}

  void Add(wchar_t c) noexcept;
  void Add(std::wstring_view text) noexcept {
    for (const wchar_t c : text) Add(c);
  }
  [[nodiscard]] std::uint64_t Get() const noexcept;

 private:
  std::uint64_t state_;
  std::uint64_t factor_;
  bool ignoreCase_;
};

/// Hash of a whole name, several characters at a step. All its bits are of use, whatever the seed.
/// Without `ignoreCase` its values are other than those of XmlNameHash.
[[nodiscard]] std::uint64_t HashXmlName(std::wstring_view name, bool ignoreCase,
                                        const XmlHashSeed& seed = GetXmlHashSeed()) noexcept;

}  // namespace Orvel::Detail
