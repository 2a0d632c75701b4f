// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/parse/xml_open_names.h"

#include "orvel/filers/xml/parse/xml_scanner.h"
#include "orvel/filers/xml/store/xml_name_hash.h"

namespace Orvel::Detail {
namespace {

constexpr bool IsBracket(wchar_t c) noexcept { return c == L'[' || c == L']'; }

}  // namespace

bool EndTagMatches(std::wstring_view endName, std::wstring_view startName,
                   bool ignoreCase) noexcept {
  if (endName.size() > startName.size()) return false;
  if (endName.size() < startName.size() && !IsBracket(startName[endName.size()])) return false;
  return EqualXmlNames(endName, startName.substr(0, endName.size()), ignoreCase);
}

void XmlOpenNames::Push(std::wstring_view name) {
  names_.push_back(name);
  XmlNameHash hash(ignoreCase_);
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (i > MXmlElementRecord::kMaxEndTagLength) return;  // no end tag is that long
    if (IsBracket(name[i])) Enter(hash.Get());
    hash.Add(name[i]);
  }
  Enter(hash.Get());
}

void XmlOpenNames::Enter(std::uint64_t hash) {
  std::uint32_t& innermost = innermost_.try_emplace(hash, kNoEntry).first->second;
  entries_.push_back({hash, static_cast<std::uint32_t>(names_.size() - 1), innermost});
  innermost = static_cast<std::uint32_t>(entries_.size() - 1);
}

void XmlOpenNames::PopTo(std::size_t count) noexcept {
  while (!entries_.empty() && entries_.back().depth >= count) {
    const auto innermost = innermost_.find(entries_.back().hash);
    innermost->second = entries_.back().outer;
    if (innermost->second == kNoEntry) innermost_.erase(innermost);
    entries_.pop_back();
  }
  names_.resize(count);
}

std::size_t XmlOpenNames::Find(std::wstring_view name) const noexcept {
  XmlNameHash hash(ignoreCase_);
  hash.Add(name);
  const auto innermost = innermost_.find(hash.Get());
  std::uint32_t i = innermost == innermost_.end() ? kNoEntry : innermost->second;
  while (i != kNoEntry && !EndTagMatches(name, names_[entries_[i].depth], ignoreCase_)) {
    i = entries_[i].outer;
  }
  return i == kNoEntry ? kNone : entries_[i].depth;
}

}  // namespace Orvel::Detail
