// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

#include "orvel/filers/xml/store/xml_index.h"

namespace Orvel::Detail {

/// Outcome of a parse: the first error that was found, if any.
struct XmlParseError {
  std::wstring text;       ///< empty without an error
  std::size_t offset = 0;  ///< where the error text points to, in units
};

/// `text` with each `%s` replaced by the next of `names` and each `%d` by the next of `offsets`.
[[nodiscard]] std::wstring FormatXmlError(std::wstring_view text,
                                          std::initializer_list<std::wstring_view> names,
                                          std::initializer_list<std::size_t> offsets);

/// Parses a whole document into `index`, which is cleared before. The index is complete and
/// consistent whatever the text is; record 0 is marked when the document is ill-formed. The text
/// must be shorter than 2^31 units. Takes time in proportion to the text.
[[nodiscard]] XmlParseError ParseXml(std::wstring_view text, bool ignoreCase, XmlIndex& index);

}  // namespace Orvel::Detail
