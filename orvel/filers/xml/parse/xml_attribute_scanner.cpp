// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/parse/xml_attribute_scanner.h"

#include "orvel/filers/xml/store/xml_characters.h"
#include "orvel/platform/wide_search.h"

namespace Orvel::Detail {

bool IsXmlAttributeName(std::wstring_view name) noexcept {
  return !name.empty() && !HoldsXmlChar(name, kXmlSeparator | kXmlQuote | kXmlTagStart);
}

/// Returns the place behind the string that begins at `quote`.
const wchar_t* XmlAttributeScanner::SkipString(const wchar_t* quote) noexcept {
  const wchar_t* const twin = FindWide(quote + 1, end_, *quote);
  if (twin != end_) return twin + 1;
  hasOpenString_ = true;
  return end_;
}

bool XmlAttributeScanner::Next() noexcept {
  for (;;) {
    next_ = SkipXmlChars(next_, end_, kXmlSeparator);
    if (next_ == end_) return false;
    if (!IsXmlChar(*next_, kXmlQuote)) break;
    next_ = SkipString(next_);  // a string without a name
  }
  const wchar_t* const name = next_;
  next_ = FindXmlChar(next_, end_, kXmlSeparator | kXmlQuote);
  name_ = std::wstring_view(name, static_cast<std::size_t>(next_ - name));
  assignmentStart_ = static_cast<std::size_t>(next_ - begin_);
  value_ = {};
  const wchar_t* value = SkipXmlChars(next_, end_, kXmlSpace);
  if (value == end_ || *value != L'=') return true;
  value = SkipXmlChars(value + 1, end_, kXmlSpace);
  if (value != end_ && IsXmlChar(*value, kXmlQuote)) {
    next_ = SkipString(value++);
    value_ = std::wstring_view(value, static_cast<std::size_t>(next_ - value));
    if (!hasOpenString_) value_.remove_suffix(1);
  } else {
    next_ = FindXmlChar(value, end_, kXmlSpace | kXmlQuote);
    value_ = std::wstring_view(value, static_cast<std::size_t>(next_ - value));
  }
  return true;
}

}  // namespace Orvel::Detail
