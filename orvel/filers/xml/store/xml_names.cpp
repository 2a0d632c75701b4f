// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/store/xml_names.h"

namespace Orvel::Detail {

std::wstring_view FindXmlTagName(std::wstring_view startTag) noexcept {
  startTag.remove_prefix(1);
  const wchar_t* const name = startTag.data();
  return startTag.substr(0, XmlTagNameLength(name, name + startTag.size()));
}

bool EqualFoldedXmlNames(std::wstring_view a, std::wstring_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldXmlCase(a[i]) != FoldXmlCase(b[i])) return false;
  }
  return true;
}

}  // namespace Orvel::Detail
