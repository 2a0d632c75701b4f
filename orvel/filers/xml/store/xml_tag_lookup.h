// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Orvel::Detail {

struct XmlElements;

/// Finds the first child of an element by tag. Repeated searches take constant time each: for a
/// level with many children, a table of their tags is built. The tables of all levels are kept, so
/// that searches may alternate between levels.
///
/// Thread-unsafe.
class XmlTagLookup {
 public:
  /// Borrows the elements, which must outlive the look-up.
  explicit XmlTagLookup(XmlElements& elements) noexcept : elements_(elements) {}

  /// Drops all tables. Call it when the elements are replaced, or tags are compared differently.
  void Clear() noexcept {
    levels_.clear();
    recent_ = nullptr;
  }

  /// Returns the first child of `parent` with the tag `name`, which must not be empty; 0 if there
  /// is none.
  [[nodiscard]] std::uint32_t FindFirst(std::uint32_t parent, std::wstring_view name,
                                        bool ignoreCase);

  /// Call it after the element `number` was linked to its parent.
  void NoteAdded(std::uint32_t number, bool ignoreCase) {
    if (!levels_.empty()) NoteAddedToLevel(number, ignoreCase);
  }

  /// Call it before the element `number` is unlinked from its parent or renamed.
  void NoteRemoved(std::uint32_t number, bool ignoreCase) noexcept {
    if (!levels_.empty()) NoteRemovedFromLevel(number, ignoreCase);
  }

  /// Call it when an element has lost all its children, or was removed.
  void ForgetLevel(std::uint32_t parent) noexcept {
    if (levels_.erase(parent) != 0) recent_ = nullptr;
  }

 private:
  struct Slot {
    std::uint32_t hash;
    std::uint32_t number;      // the first one of the tag; 0 in an empty slot
    std::uint32_t nameLength;  // so that the end of the name need not be searched for
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
  [[nodiscard]] Level* FindLevel(std::uint32_t parent) noexcept {
    if (levels_.empty()) return nullptr;
    return recent_ != nullptr && recent_->parent == parent ? recent_ : FindOtherLevel(parent);
  }
  [[nodiscard]] Level* FindOtherLevel(std::uint32_t parent) noexcept;
  [[nodiscard]] Level* FindTableOf(std::uint32_t child) noexcept;
  void AddLevel(std::uint32_t parent);
  void BuildTable(Level& level, bool ignoreCase);
  void Enter(Level& level, std::uint32_t child, bool ignoreCase) noexcept;
  [[nodiscard]] Slot& FindSlot(Level& level, std::wstring_view name, std::uint32_t hash,
                               bool ignoreCase) noexcept;

  XmlElements& elements_;
  std::unordered_map<std::uint32_t, Level> levels_;  // where a search took many steps; by parent
  Level* recent_ = nullptr;                          // the one found last
};

}  // namespace Orvel::Detail
