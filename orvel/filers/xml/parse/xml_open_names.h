// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Orvel::Detail {

/// Finds the innermost open element that an end tag belongs to without a search through all that
/// are open. Needed only for documents with unbalanced tags.
///
/// An end tag belongs to a start tag of the same name, or to one whose name goes on behind it with
/// a bracket; so a start tag is entered once for its name and once for each bracket in it.
///
/// Thread-unsafe.
class XmlOpenNames {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  explicit XmlOpenNames(bool ignoreCase) noexcept : ignoreCase_(ignoreCase) {}

  /// Enters the name of an element that was opened in the innermost one. The view must hold as long
  /// as the entry.
  void Push(std::wstring_view name);

  /// Removes all elements but the outermost `count`.
  void PopTo(std::size_t count) noexcept;

  /// How many elements are around the innermost one that the end tag of that name closes, kNone if
  /// there is none.
  [[nodiscard]] std::size_t Find(std::wstring_view name) const noexcept;

 private:
  struct Entry {
    std::uint64_t hash;   // of a name that closes the element
    std::uint32_t depth;  // the element's place in names_
    std::uint32_t outer;  // entry with the same hash below this one, kNoEntry if there is none
  };

  static constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;  // a text has fewer units

  void Enter(std::uint64_t hash);

  bool ignoreCase_;
  std::vector<std::wstring_view> names_;  // of the open elements, outermost first
  std::vector<Entry> entries_;            // in the order of names_
  std::unordered_map<std::uint64_t, std::uint32_t> innermost_;  // entry of each hash
};

/// True when an end tag of the name `endName` closes a start tag of the name `startName`.
[[nodiscard]] bool EndTagMatches(std::wstring_view endName, std::wstring_view startName,
                                 bool ignoreCase) noexcept;

}  // namespace Orvel::Detail
