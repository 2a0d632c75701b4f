// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "orvel/filers/xml/store/xml_index.h"

namespace Orvel::Detail {

/// The first error of a parse, if any.
struct XmlParseError {
  std::wstring text;       ///< empty without an error
  std::size_t offset = 0;  ///< place of the error, in units
};

/// Parses a whole document of less than 2^31 units into `index`, which is cleared first. The index
/// is complete and consistent for any text; record 0 is marked when the document is ill-formed.
/// Takes time in proportion to the text.
[[nodiscard]] XmlParseError ParseXml(std::wstring_view text, bool ignoreCase, XmlIndex& index);

}  // namespace Orvel::Detail
