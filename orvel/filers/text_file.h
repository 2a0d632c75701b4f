// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Orvel::Detail {

/// How reading a text file ended.
enum class TextFileResult {
  kRead,        ///< the text was read
  kUnreadable,  ///< the file is missing, locked, or could not be read to its end
  kTooLong,     ///< it has more bytes than are wanted
  kMalformed    ///< it is not UTF-8
};

/// Reads a whole UTF-8 file, without its byte order mark if it has one. Files of more than
/// `maxBytes` bytes are not read. On failure `text` is untouched; for kMalformed, `badByte` is the
/// offset in the file of the first byte that is wrong.
[[nodiscard]] TextFileResult ReadTextFile(const std::wstring& path, std::size_t maxBytes,
                                          std::wstring& text, std::size_t& badByte);

/// Writes a text to a file as UTF-8 without byte order mark. The text goes to a new file in the
/// same folder, which takes the place of `path` in one step when all of it is on disk. False when
/// that fails or the text has unpaired surrogates: the old file, if any, is untouched and no other
/// is left behind.
[[nodiscard]] bool WriteTextFile(const std::wstring& path, std::wstring_view text);

}  // namespace Orvel::Detail
