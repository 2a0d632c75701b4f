// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/parse/xml_open_names.h"

#include "orvel/filers/xml/parse/xml_scanner.h"
#include "orvel/filers/xml/store/xml_name_hash.h"

namespace Orvel::Detail {
namespace {

constexpr std::size_t kFirstSlots = 64;

constexpr bool IsBracket(wchar_t c) noexcept { return c == L'[' || c == L']'; }

}  // namespace

bool EndTagMatches(std::wstring_view endName, std::wstring_view startName,
                   bool ignoreCase) noexcept {
  if (endName.size() > startName.size()) return false;
  if (endName.size() < startName.size() && !IsBracket(startName[endName.size()])) return false;
  return EqualXmlNames(endName, startName.substr(0, endName.size()), ignoreCase);
}

XmlOpenNames::XmlOpenNames(bool ignoreCase)
    : ignoreCase_(ignoreCase), slots_(kFirstSlots, kNoEntry) {}

void XmlOpenNames::Push(std::wstring_view name) {
  names_.push_back(name);
  XmlNameHash hash(ignoreCase_);
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (i > MXmlElementRecord::kMaxEndTagLength) return;  // no end tag is as long
    if (IsBracket(name[i])) Enter(hash.Get());
    hash.Add(name[i]);
  }
  Enter(hash.Get());
}

void XmlOpenNames::Enter(std::uint64_t hash) {
  if ((used_ + 1) * 2 > slots_.size()) GrowSlots();
  const auto shortHash = static_cast<std::uint32_t>(hash);
  std::uint32_t& slot = slots_[FindSlot(shortHash)];
  entries_.push_back({shortHash, static_cast<std::uint32_t>(names_.size() - 1), slot});
  if (slot == kNoEntry) ++used_;
  slot = static_cast<std::uint32_t>(entries_.size() - 1);
}

/// The slot of a hash, or the free one where it belongs.
std::size_t XmlOpenNames::FindSlot(std::uint32_t hash) const noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash & mask;
  while (slots_[i] != kNoEntry && entries_[slots_[i]].hash != hash) i = (i + 1) & mask;
  return i;
}

void XmlOpenNames::GrowSlots() {
  slots_ = std::vector<std::uint32_t>(slots_.size() * 2, kNoEntry);
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    slots_[FindSlot(entries_[i].hash)] = static_cast<std::uint32_t>(i);
  }
}

void XmlOpenNames::PopTo(std::size_t count) noexcept {
  while (!entries_.empty() && entries_.back().depth >= count) {
    std::uint32_t& slot = slots_[FindSlot(entries_.back().hash)];
    slot = entries_.back().outer;
    if (slot == kNoEntry) --used_;
    entries_.pop_back();
  }
  names_.resize(count);
}

std::size_t XmlOpenNames::Find(std::wstring_view name) const noexcept {
  XmlNameHash hash(ignoreCase_);
  hash.Add(name);
  std::uint32_t i = slots_[FindSlot(static_cast<std::uint32_t>(hash.Get()))];
  while (i != kNoEntry && !EndTagMatches(name, names_[entries_[i].depth], ignoreCase_)) {
    i = entries_[i].outer;
  }
  return i == kNoEntry ? kNone : entries_[i].depth;
}

}  // namespace Orvel::Detail
