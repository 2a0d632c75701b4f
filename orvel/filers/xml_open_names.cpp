// SPDX-License-Identifier: MIT
#include "orvel/filers/xml_open_names.h"

#include "orvel/filers/xml_name_hash.h"
#include "orvel/filers/xml_scanner.h"

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

void XmlOpenNames::Push(std::wstring_view name, std::size_t depth) {
  XmlNameHash hash(ignoreCase_);
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (i > MXmlElementRecord::kMaxEndTagLength) return;  // no end tag is as long
    if (IsBracket(name[i])) Enter(name.substr(0, i), hash.Get(), depth);
    hash.Add(name[i]);
  }
  Enter(name, hash.Get(), depth);
}

void XmlOpenNames::Enter(std::wstring_view name, std::uint64_t hash, std::size_t depth) {
  const auto [place, isNew] = innermost_.try_emplace(hash, entries_.size());
  entries_.push_back({name, hash, depth, isNew ? kNone : place->second});
  place->second = entries_.size() - 1;
}

void XmlOpenNames::PopTo(std::size_t depth) {
  while (!entries_.empty() && entries_.back().depth >= depth) {
    const Entry& entry = entries_.back();
    if (entry.outer == kNone) {
      innermost_.erase(entry.hash);
    } else {
      innermost_[entry.hash] = entry.outer;
    }
    entries_.pop_back();
  }
}

std::size_t XmlOpenNames::Find(std::wstring_view name) const {
  XmlNameHash hash(ignoreCase_);
  hash.Add(name);
  const auto found = innermost_.find(hash.Get());
  if (found == innermost_.end()) return kNone;
  for (std::size_t i = found->second; i != kNone; i = entries_[i].outer) {
    if (EqualXmlNames(entries_[i].name, name, ignoreCase_)) return entries_[i].depth;
  }
  return kNone;
}

}  // namespace Orvel::Detail
