// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Orvel::Detail {

struct XmlElements;

/// Finds the first child of an element by tag, again and again, in constant time each: when a level
/// has many children, it makes a table of their tags. All tables are kept, so that levels may be
/// searched by turns.
///
/// Thread-unsafe.
class XmlTagLookup {
 public:
  /// Borrows the elements, which must outlive the look-up.
  explicit XmlTagLookup(XmlElements& elements) noexcept : elements_(elements) {}

  /// Forgets all tables: the elements are others, or compared in another way.
  void Clear() noexcept {
    levels_.clear();
    recent_ = nullptr;
  }

  /// First child of `parent` with the tag `name`, which must not be empty; 0 if there is none.
  [[nodiscard]] std::uint32_t FindFirst(std::uint32_t parent, std::wstring_view name,
                                        bool ignoreCase);

  /// To be called when the element `number` was linked under its parent.
  void NoteAdded(std::uint32_t number, bool ignoreCase) {
    if (!levels_.empty()) NoteAddedToLevel(number, ignoreCase);
  }

  /// To be called before the element `number` is unlinked from its parent, or gets another tag.
  void NoteRemoved(std::uint32_t number, bool ignoreCase) noexcept {
    if (!levels_.empty()) NoteRemovedFromLevel(number, ignoreCase);
  }

  /// To be called when an element lost all its children, or is no more.
  void ForgetLevel(std::uint32_t parent) noexcept {
    if (levels_.erase(parent) != 0) recent_ = nullptr;
  }

 private:
  struct Slot {
    std::uint32_t hash;
    std::uint32_t number;      // the first one of the tag; 0 in an empty slot
    std::uint32_t nameLength;  // spares the search for the end of the name in the text
    std::uint32_t count;       // of elements with the tag
  };
  struct Level {
    std::uint32_t parent = 0;
    std::uint32_t used = 0;
    std::vector<Slot> slots;  // a power of two, at most half of them used; empty without a table
  };

  static constexpr std::uint32_t kNoName = 0xFFFFFFFF;  // no name is as long

  void NoteAddedToLevel(std::uint32_t number, bool ignoreCase);
  void NoteRemovedFromLevel(std::uint32_t number, bool ignoreCase) noexcept;
  [[nodiscard]] Level* FindLevel(std::uint32_t parent) noexcept;
  [[nodiscard]] Level* FindTableOf(std::uint32_t child) noexcept;
  void AddLevel(std::uint32_t parent);
  void BuildTable(Level& level, bool ignoreCase);
  void Enter(Level& level, std::uint32_t child, bool ignoreCase) noexcept;
  [[nodiscard]] Slot& FindSlot(Level& level, std::wstring_view name, std::uint32_t hash,
                               bool ignoreCase) noexcept;

  XmlElements& elements_;
  std::unordered_map<std::uint32_t, Level> levels_;  // those where a search took many steps
  Level* recent_ = nullptr;                          // the one that was found last
};

}  // namespace Orvel::Detail
