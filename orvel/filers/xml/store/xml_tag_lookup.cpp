// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/store/xml_tag_lookup.h"

#include <bit>

#include "orvel/filers/xml/store/xml_elements.h"
#include "orvel/filers/xml/store/xml_name_hash.h"

namespace Orvel::Detail {
namespace {

/// The number of children from which on a table is worth building.
constexpr std::uint32_t kStepsWithoutTable = 32;

std::uint32_t ShortHash(std::wstring_view name, bool ignoreCase) noexcept {
  return static_cast<std::uint32_t>(HashXmlName(name, ignoreCase));
}

}  // namespace

std::uint32_t XmlTagLookup::FindFirst(std::uint32_t parent, std::wstring_view name,
                                      bool ignoreCase) {
  Level* const level = FindLevel(parent);
  if (level != nullptr) {
    // This is the second long search here, so more are likely to follow.
    if (level->slots.empty()) BuildTable(*level, ignoreCase);
    return FindSlot(*level, name, ShortHash(name, ignoreCase), ignoreCase).number;
  }
  if (HoldsXmlTagNameEnd(name)) return 0;
  std::uint32_t steps = 0;
  std::uint32_t child = elements_.index.GetRecord(parent).firstChild;
  while (child != 0 && !elements_.HasTagName(child, name, ignoreCase)) {
    if (++steps == kStepsWithoutTable) AddLevel(parent);
    child = elements_.index.GetRecord(child).nextSibling;
  }
  return child;
}

void XmlTagLookup::NoteAddedToLevel(std::uint32_t number, bool ignoreCase) {
  Level* const level = FindTableOf(number);
  if (level == nullptr) return;
  if ((std::size_t{level->used} + 1) * 2 > level->slots.size()) {
    level->slots.clear();  // rebuilt, with more room, by the next search
    return;
  }
  Enter(*level, number, ignoreCase);
}

void XmlTagLookup::NoteRemovedFromLevel(std::uint32_t number, bool ignoreCase) noexcept {
  Level* const level = FindTableOf(number);
  if (level == nullptr) return;
  const std::wstring_view name = elements_.GetTagName(number);
  Slot& slot = FindSlot(*level, name, ShortHash(name, ignoreCase), ignoreCase);
  if (--slot.count == 0) {
    slot.nameLength = kNoName;  // stays in use, since searches for others go on behind it
  } else if (slot.number == number) {
    do {
      slot.number = elements_.index.GetRecord(slot.number).nextSibling;
    } while (!EqualXmlNames(elements_.GetTagName(slot.number), name, ignoreCase));
  }
}

XmlTagLookup::Level* XmlTagLookup::FindOtherLevel(std::uint32_t parent) noexcept {
  const auto found = levels_.find(parent);
  if (found == levels_.end()) return nullptr;
  recent_ = &found->second;
  return recent_;
}

/// Returns the level that an element is in, if there is a table for it.
XmlTagLookup::Level* XmlTagLookup::FindTableOf(std::uint32_t child) noexcept {
  Level* const level = FindLevel(elements_.index.GetRecord(child).parent);
  return level != nullptr && !level->slots.empty() ? level : nullptr;
}

void XmlTagLookup::AddLevel(std::uint32_t parent) {
  recent_ = &levels_[parent];
  recent_->parent = parent;
}

void XmlTagLookup::BuildTable(Level& level, bool ignoreCase) {
  const auto forEachChild = [this, &level](auto call) {
    for (std::uint32_t child = elements_.index.GetRecord(level.parent).firstChild; child != 0;
         child = elements_.index.GetRecord(child).nextSibling) {
      call(child);
    }
  };
  std::size_t count = 1;
  forEachChild([&count](std::uint32_t) { ++count; });
  level.slots.assign(std::bit_ceil(count * 2), Slot{});
  level.used = 0;
  forEachChild([&](std::uint32_t child) { Enter(level, child, ignoreCase); });
}

/// Adds a child to a table that has room for it.
void XmlTagLookup::Enter(Level& level, std::uint32_t child, bool ignoreCase) noexcept {
  const std::wstring_view name = elements_.GetTagName(child);
  const std::uint32_t hash = ShortHash(name, ignoreCase);
  Slot& slot = FindSlot(level, name, hash, ignoreCase);
  if (slot.number == 0) {
    slot = {hash, child, static_cast<std::uint32_t>(name.size()), 1};
    ++level.used;
    return;
  }
  ++slot.count;
  if (elements_.GetStart(child) < elements_.GetStart(slot.number)) slot.number = child;
}

/// Returns the slot of a tag, or the empty one to use for it.
XmlTagLookup::Slot& XmlTagLookup::FindSlot(Level& level, std::wstring_view name, std::uint32_t hash,
                                           bool ignoreCase) noexcept {
  const std::size_t mask = level.slots.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    Slot& slot = level.slots[i];
    if (slot.number == 0) return slot;
    if (slot.hash != hash || slot.nameLength != name.size()) continue;
    const std::wstring_view tag =
        elements_.text.GetView(elements_.GetStart(slot.number) + 1, slot.nameLength);
    if (EqualXmlNames(tag, name, ignoreCase)) return slot;
  }
}

}  // namespace Orvel::Detail
