// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Orvel::Detail {

/// Makes hashes different in each process, so that nobody can prepare a text whose names collide.
struct XmlHashSeed {
  std::uint64_t start;
  std::uint64_t factor;        // odd
  std::uint64_t secondFactor;  // odd
};

/// Returns a seed made from a number. Similar numbers yield very different seeds.
[[nodiscard]] XmlHashSeed MakeXmlHashSeed(std::uint64_t number) noexcept;

/// Returns the seed of this process, which stays the same while it runs. Thread-safe.
[[nodiscard]] const XmlHashSeed& GetXmlHashSeed() noexcept;

/// Hashes a name character by character, so that one pass yields the hashes of all its prefixes.
/// All bits of Get() are equally good, for any seed.
///
/// Thread-unsafe.
class XmlNameHash {
 public:
  /// With `ignoreCase`, names that differ only in the case of ASCII letters have the same hash.
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

/// Returns the hash of a whole name, several characters per step, which is faster. Its values
/// differ from those of XmlNameHash. All bits are equally good, for any seed.
[[nodiscard]] std::uint64_t HashXmlName(std::wstring_view name, bool ignoreCase,
                                        const XmlHashSeed& seed = GetXmlHashSeed()) noexcept;

}  // namespace Orvel::Detail
