// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/filers/xml/document/xml_escape.h"
#include "orvel/filers/xml/store/wide_buffer.h"
#include "orvel/filers/xml/store/xml_names.h"
#include "orvel/filers/xml/store/xml_record.h"

namespace Orvel::Detail {

inline constexpr std::wstring_view kXmlCDataStart = L"<![CDATA[";
inline constexpr std::wstring_view kXmlCDataEnd = L"]]>";
inline constexpr std::size_t kXmlEndTagFrame = 3;  ///< what an end tag has besides the name
inline constexpr std::size_t kMaxXmlNameLength =
    MXmlElementRecord::kMaxEndTagLength - kXmlEndTagFrame;
inline constexpr std::wstring_view kXmlEmptyTagEnd = L"/>";

/// True when an element can be written with that name, which may be empty.
[[nodiscard]] inline bool IsXmlTagName(std::wstring_view name) noexcept {
  return name.size() <= kMaxXmlNameLength && !HoldsXmlTagNameEnd(name);
}

/// Appends what follows the name of an attribute: the equals sign and the quoted value.
inline void AppendXmlAssignment(std::wstring_view value, MXmlReferences references,
                                WideBuffer& output) {
  output.Append(L"=\"");
  AppendXmlEscaped(
      value, {.escapeQuotes = true, .keepReferences = references == MXmlReferences::kKeep}, output);
  output.Append(L'"');
}

/// Appends an attribute as it stands in a tag, with the blank in front of it.
inline void AppendXmlAttribute(std::wstring_view name, std::wstring_view value,
                               MXmlReferences references, WideBuffer& output) {
  output.Append(L' ');
  output.Append(name);
  AppendXmlAssignment(value, references, output);
}

}  // namespace Orvel::Detail
