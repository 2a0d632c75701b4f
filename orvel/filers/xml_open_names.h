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
class XmlOpenNames {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  explicit XmlOpenNames(bool ignoreCase) : ignoreCase_(ignoreCase) {}

  /// Enters the name of the element at place `depth` of the stack of open ones, the innermost. The
  /// view must hold as long as the entry.
  void Push(std::wstring_view name, std::size_t depth);

  /// Removes the elements from `depth` on.
  void PopTo(std::size_t depth);

  /// Innermost element that the end tag of that name closes, kNone if there is none.
  [[nodiscard]] std::size_t Find(std::wstring_view name) const;

 private:
  struct Entry {
    std::wstring_view name;  // as far as it has to match
    std::uint64_t hash;
    std::size_t depth;
    std::size_t outer;  // entry with the same hash below this one, kNone if there is none
  };

  void Enter(std::wstring_view name, std::uint64_t hash, std::size_t depth);

  bool ignoreCase_;
  std::vector<Entry> entries_;
  std::unordered_map<std::uint64_t, std::size_t> innermost_;  // entry of a hash
};

/// True when an end tag of the name `endName` closes a start tag of the name `startName`.
[[nodiscard]] bool EndTagMatches(std::wstring_view endName, std::wstring_view startName,
                                 bool ignoreCase) noexcept;

}  // namespace Orvel::Detail
