// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Orvel::Detail {

/// Finds the innermost open element that an end tag closes, without searching through all open
/// ones. Needed only for documents with unbalanced tags.
///
/// An end tag closes a start tag of the same name, or one whose name continues with a bracket. So
/// each start tag is entered under its whole name and under each part of it that ends before a
/// bracket.
///
/// Thread-unsafe.
class XmlOpenNames {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  explicit XmlOpenNames(bool ignoreCase) noexcept : ignoreCase_(ignoreCase) {}

  /// Enters the name of an element that was opened inside the innermost one. The view must stay
  /// valid until the element is removed again.
  void Push(std::wstring_view name);

  /// Removes all elements but the outermost `count`.
  void PopTo(std::size_t count) noexcept;

  /// Returns the depth of the innermost element that an end tag of that name closes, 0 for the
  /// outermost one; kNone if there is none.
  [[nodiscard]] std::size_t Find(std::wstring_view name) const noexcept;

 private:
  struct Entry {
    std::uint64_t hash;   // of a name that closes the element
    std::uint32_t depth;  // the element's place in names_
    std::uint32_t outer;  // the next entry outwards with the same hash, or kNoEntry
  };

  static constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;  // there are fewer entries than units

  void Enter(std::uint64_t hash);

  bool ignoreCase_;
  std::vector<std::wstring_view> names_;  // of the open elements, outermost first
  std::vector<Entry> entries_;            // in the order of names_
  std::unordered_map<std::uint64_t, std::uint32_t> innermost_;  // entry for each hash
};

/// True when an end tag of the name `endName` closes a start tag of the name `startName`.
[[nodiscard]] bool EndTagMatches(std::wstring_view endName, std::wstring_view startName,
                                 bool ignoreCase) noexcept;

}  // namespace Orvel::Detail
