// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "orvel/filers/xml/document/xml_failure.h"

namespace Orvel::Detail {

/// Reads a whole UTF-8 file, without its byte order mark if it has one. Files of more than
/// `maxBytes` bytes are not read, and zero characters are refused. On failure `text` is untouched.
[[nodiscard]] MXmlFailure ReadTextFile(const std::wstring& path, std::size_t maxBytes,
                                       std::wstring& text);

/// Writes a text to a file as UTF-8 without byte order mark. The text goes to a new file in the
/// same folder, which takes the place of `path` in one step when all of it is on disk. A file that
/// is there hands on its access rights, its attributes and the time of its creation, and is found
/// through links; one that may not be written is not replaced. While another program has it open,
/// replacing is tried again for about a second. After a failure the old file, if any, is untouched
/// and no other is left behind.
[[nodiscard]] MXmlFailure WriteTextFile(const std::wstring& path, std::wstring_view text);

}  // namespace Orvel::Detail
