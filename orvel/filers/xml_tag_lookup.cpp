// SPDX-License-Identifier: MIT
#include "orvel/filers/xml_tag_lookup.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "orvel/filers/xml_name_hash.h"
#include "orvel/filers/xml_store.h"

namespace Orvel::Detail {
namespace {

/// Steps from child to child at one level after which a table pays.
constexpr std::uint32_t kStepsBeforeTable = 32;

bool Encloses(XmlStore& store, std::uint32_t outer, std::uint32_t inner) noexcept {
  if (outer == 0 || inner == 0) return outer == 0;
  const std::uint32_t start = store.index.At(inner).start;
  return store.index.At(outer).start < start && start < store.GetEnd(outer);
}

}  // namespace

std::uint32_t XmlTagLookup::FindFirst(XmlStore& store, std::uint32_t parent, std::wstring_view name,
                                      bool ignoreCase) {
  Level& level = EnterLevel(store, parent);
  if (level.slots.empty()) {
    if (level.steps <= kStepsBeforeTable) {
      if (XmlTagNameLength(name.data(), name.data() + name.size()) != name.size()) return 0;
      std::uint32_t child = store.index.At(parent).firstChild;
      while (child != 0 && !store.HasTagName(child, name, ignoreCase)) {
        ++level.steps;
        child = store.index.At(child).nextSibling;
      }
      return child;
    }
    BuildTable(level, store, ignoreCase);
  }
  const auto hash = static_cast<std::uint32_t>(HashXmlName(name, ignoreCase));
  return FindSlot(level, store, name, hash, ignoreCase).number;
}

void XmlTagLookup::NoteAddedToLevel(XmlStore& store, std::uint32_t number, bool ignoreCase) {
  const MXmlElementRecord& record = store.index.At(number);
  const auto behind = FindBehind(store, record.parent);
  if (behind == levels_.begin()) return;
  Level& level = *std::prev(behind);
  if (level.parent != record.parent || level.slots.empty()) return;
  if (record.nextSibling != 0 || (std::size_t{level.used} + 1) * 2 > level.slots.size()) {
    level.slots.clear();  // made anew when it is asked for
    return;
  }
  const std::wstring_view name = store.GetTagName(number);
  const auto hash = static_cast<std::uint32_t>(HashXmlName(name, ignoreCase));
  Slot& slot = FindSlot(level, store, name, hash, ignoreCase);
  if (slot.number != 0) return;
  slot = {hash, number, static_cast<std::uint32_t>(name.size())};
  ++level.used;
}

/// The place behind the levels whose parents begin before `parent` in the text, and behind its own.
std::vector<XmlTagLookup::Level>::iterator XmlTagLookup::FindBehind(const XmlStore& store,
                                                                    std::uint32_t parent) noexcept {
  return std::partition_point(levels_.begin(), levels_.end(), [&](const Level& level) {
    if (level.parent == 0 || parent == 0) return level.parent == 0;
    return store.index.At(level.parent).start <= store.index.At(parent).start;
  });
}

/// Drops the levels that do not enclose the one of `parent`, unless that one is known.
XmlTagLookup::Level& XmlTagLookup::EnterLevel(XmlStore& store, std::uint32_t parent) {
  const auto behind = FindBehind(store, parent);
  if (behind != levels_.begin() && std::prev(behind)->parent == parent) return *std::prev(behind);
  levels_.erase(behind, levels_.end());
  while (!levels_.empty() && !Encloses(store, levels_.back().parent, parent)) levels_.pop_back();
  levels_.emplace_back().parent = parent;
  return levels_.back();
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
    if (slot.number != 0) continue;
    slot = {hash, child, static_cast<std::uint32_t>(name.size())};
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
        store.text.GetView(store.index.At(slot.number).start + 1, slot.nameLength);
    if (EqualXmlNames(tag, name, ignoreCase)) return slot;
  }
}

}  // namespace Orvel::Detail
