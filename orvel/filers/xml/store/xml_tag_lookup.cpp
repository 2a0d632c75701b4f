// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/store/xml_tag_lookup.h"

#include <bit>

#include "orvel/filers/xml/store/xml_name_hash.h"
#include "orvel/filers/xml/store/xml_store.h"

namespace Orvel::Detail {
namespace {

/// Children that are looked at one after the other, before a table of all of them pays.
constexpr std::uint32_t kStepsWithoutTable = 32;

}  // namespace

std::uint32_t XmlTagLookup::FindFirst(XmlStore& store, std::uint32_t parent, std::wstring_view name,
                                      bool ignoreCase) {
  Level* const level = FindLevel(parent);
  if (level != nullptr) {
    // Whoever searches far a second time is likely to go on.
    if (level->slots.empty()) BuildTable(*level, store, ignoreCase);
    const auto hash = static_cast<std::uint32_t>(HashXmlName(name, ignoreCase));
    return FindSlot(*level, store, name, hash, ignoreCase).number;
  }
  if (XmlTagNameLength(name.data(), name.data() + name.size()) != name.size()) return 0;
  std::uint32_t steps = 0;
  std::uint32_t child = store.index.At(parent).firstChild;
  while (child != 0 && !store.HasTagName(child, name, ignoreCase)) {
    if (++steps == kStepsWithoutTable) AddLevel(parent);
    child = store.index.At(child).nextSibling;
  }
  return child;
}

void XmlTagLookup::NoteAddedToLevel(XmlStore& store, std::uint32_t number, bool ignoreCase) {
  Level* const level = FindLevel(store.index.At(number).parent);
  if (level == nullptr || level->slots.empty()) return;
  if ((std::size_t{level->used} + 1) * 2 > level->slots.size()) {
    level->slots.clear();  // made anew when it is asked for
    return;
  }
  const std::wstring_view name = store.GetTagName(number);
  const auto hash = static_cast<std::uint32_t>(HashXmlName(name, ignoreCase));
  Slot& slot = FindSlot(*level, store, name, hash, ignoreCase);
  if (slot.number == 0) {
    slot = {hash, number, static_cast<std::uint32_t>(name.size()), 1};
    ++level->used;
    return;
  }
  ++slot.count;
  if (store.GetStart(number) < store.GetStart(slot.number)) slot.number = number;
}

void XmlTagLookup::NoteRemovedFromLevel(XmlStore& store, std::uint32_t number,
                                        bool ignoreCase) noexcept {
  Level* const level = FindLevel(store.index.At(number).parent);
  if (level == nullptr || level->slots.empty()) return;
  const std::wstring_view name = store.GetTagName(number);
  const auto hash = static_cast<std::uint32_t>(HashXmlName(name, ignoreCase));
  Slot& slot = FindSlot(*level, store, name, hash, ignoreCase);
  if (--slot.count == 0) {
    slot.nameLength = kNoName;  // the slot stays, for those that were put behind it
  } else if (slot.number == number) {
    do {
      slot.number = store.index.At(slot.number).nextSibling;
    } while (!EqualXmlNames(store.GetTagName(slot.number), name, ignoreCase));
  }
}

XmlTagLookup::Level* XmlTagLookup::FindLevel(std::uint32_t parent) noexcept {
  if (levels_.empty()) return nullptr;
  if (recent_ != nullptr && recent_->parent == parent) return recent_;
  const auto found = levels_.find(parent);
  if (found == levels_.end()) return nullptr;
  recent_ = &found->second;
  return recent_;
}

void XmlTagLookup::AddLevel(std::uint32_t parent) {
  recent_ = &levels_[parent];
  recent_->parent = parent;
}

void XmlTagLookup::BuildTable(Level& level, XmlStore& store, bool ignoreCase) {
  std::size_t count = 1;
  for (std::uint32_t child = store.index.At(level.parent).firstChild; child != 0;
       child = store.index.At(child).nextSibling) {
    ++count;
  }
  level.slots.assign(std::bit_ceil(count * 2), Slot{});
  level.used = 0;
  for (std::uint32_t child = store.index.At(level.parent).firstChild; child != 0;
       child = store.index.At(child).nextSibling) {
    const std::wstring_view name = store.GetTagName(child);
    const auto hash = static_cast<std::uint32_t>(HashXmlName(name, ignoreCase));
    Slot& slot = FindSlot(level, store, name, hash, ignoreCase);
    if (slot.number != 0) {
      ++slot.count;
      continue;
    }
    slot = {hash, child, static_cast<std::uint32_t>(name.size()), 1};
    ++level.used;
  }
}

XmlTagLookup::Slot& XmlTagLookup::FindSlot(Level& level, XmlStore& store, std::wstring_view name,
                                           std::uint32_t hash, bool ignoreCase) noexcept {
  const std::size_t mask = level.slots.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    Slot& slot = level.slots[i];
    if (slot.number == 0) return slot;
    if (slot.hash != hash || slot.nameLength != name.size()) continue;
    const std::wstring_view tag =
        store.text.GetView(store.GetStart(slot.number) + 1, slot.nameLength);
    if (EqualXmlNames(tag, name, ignoreCase)) return slot;
  }
}

}  // namespace Orvel::Detail
