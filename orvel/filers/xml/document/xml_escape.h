// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "orvel/filers/xml/store/wide_buffer.h"

namespace Orvel::Detail {

/// How text is escaped; the two may be combined.
struct XmlEscapeOptions {
  bool escapeQuotes = false;    ///< for values of attributes: apostrophe and double quote too
  bool keepReferences = false;  ///< an `&` that begins a well-formed reference stays as it is
};

/// True when a text contains a character that must be escaped in text.
[[nodiscard]] bool HoldsXmlTextEscape(std::wstring_view text) noexcept;

/// Appends `text` to `output` with `<`, `&` and `>` (and quotes, if asked for) replaced by
/// references. `text` may not be part of `output`.
void AppendXmlEscaped(std::wstring_view text, XmlEscapeOptions options, WideBuffer& output);

/// Appends `text` to `output` with references resolved: the five names that XML knows, and numbers
/// of valid code points, decimal or hexadecimal (as a surrogate pair above U+FFFF where wchar_t
/// has 16 bits). Any other `&` stays as it is. `text` may not be part of `output`.
void AppendXmlUnescaped(std::wstring_view text, std::wstring& output);

}  // namespace Orvel::Detail
