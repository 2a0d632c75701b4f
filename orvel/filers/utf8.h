// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Orvel::Detail {

/// Converts UTF-8 to wide text; code points above U+FFFF become surrogate pairs where wchar_t has
/// 16 bits. A byte order mark is a character like any other. Strict: overlong forms, surrogates,
/// code points above U+10FFFF and incomplete sequences are refused. Returns the offset of the first
/// byte of the first malformed sequence, and leaves `text` untouched then; no value on success.
[[nodiscard]] std::optional<std::size_t> DecodeUtf8(std::string_view bytes, std::wstring& text);

/// Converts wide text to UTF-8. An unpaired surrogate, or a unit that is no code point, is refused:
/// returns its offset in units and leaves `bytes` untouched; no value on success.
[[nodiscard]] std::optional<std::size_t> EncodeUtf8(std::wstring_view text, std::string& bytes);

/// `bytes` without the byte order mark at their start, if there is one.
[[nodiscard]] std::string_view SkipUtf8ByteOrderMark(std::string_view bytes) noexcept;

}  // namespace Orvel::Detail
