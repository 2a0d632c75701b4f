// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Orvel::Detail {

struct XmlStore;

/// Finds the first child of an element by tag, again and again, in constant time each: when a level
/// has many children, it makes a table of their tags. All tables are kept, so that levels may be
/// searched by turns.
///
/// Thread-unsafe.
class XmlTagLookup {
 public:
  /// Forgets all tables: the document is another one.
  void Clear() noexcept {
    levels_.clear();
    recent_ = nullptr;
  }

  /// First child of `parent` with the tag `name`, which must not be empty; 0 if there is none.
  [[nodiscard]] std::uint32_t FindFirst(XmlStore& store, std::uint32_t parent,
                                        std::wstring_view name, bool ignoreCase);

  /// To be called when the element `number` was linked under its parent.
  void NoteAdded(XmlStore& store, std::uint32_t number, bool ignoreCase) {
    if (!levels_.empty()) NoteAddedToLevel(store, number, ignoreCase);
  }

  /// To be called before the element `number` is unlinked from its parent, or gets another tag.
  void NoteRemoved(XmlStore& store, std::uint32_t number, bool ignoreCase) noexcept {
    if (!levels_.empty()) NoteRemovedFromLevel(store, number, ignoreCase);
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

  void NoteAddedToLevel(XmlStore& store, std::uint32_t number, bool ignoreCase);
  void NoteRemovedFromLevel(XmlStore& store, std::uint32_t number, bool ignoreCase) noexcept;
  [[nodiscard]] Level* FindLevel(std::uint32_t parent) noexcept;
  void AddLevel(std::uint32_t parent);
  static void BuildTable(Level& level, XmlStore& store, bool ignoreCase);
  static Slot& FindSlot(Level& level, XmlStore& store, std::wstring_view name, std::uint32_t hash,
                        bool ignoreCase) noexcept;

  std::unordered_map<std::uint32_t, Level> levels_;  // those where a search took many steps
  Level* recent_ = nullptr;                          // the one that was found last
};

}  // namespace Orvel::Detail
