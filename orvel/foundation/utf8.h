// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Orvel::Detail {

inline constexpr std::uint32_t kFirstSurrogate = 0xD800;
inline constexpr std::uint32_t kFirstLowSurrogate = 0xDC00;
inline constexpr std::uint32_t kLastSurrogate = 0xDFFF;
inline constexpr std::uint32_t kFirstSupplementary = 0x10000;
inline constexpr std::uint32_t kMaxCodePoint = 0x10FFFF;

[[nodiscard]] constexpr bool IsSurrogate(std::uint32_t code) noexcept {
  return code >= kFirstSurrogate && code <= kLastSurrogate;
}

/// Writes a code point as wide text, which takes two units where those have 16 bits and the code
/// point does not, and returns where the next one goes.
inline wchar_t* WriteCodePoint(std::uint32_t code, wchar_t* output) noexcept {
  if constexpr (sizeof(wchar_t) == 2) {
    if (code >= kFirstSupplementary) {
      code -= kFirstSupplementary;
      *output++ = static_cast<wchar_t>(kFirstSurrogate + (code >> 10));
      code = kFirstLowSurrogate + (code & 0x3FF);
    }
  }
  *output++ = static_cast<wchar_t>(code);
  return output;
}

/// Converts UTF-8 to wide text; code points above U+FFFF become surrogate pairs where wchar_t has
/// 16 bits. A byte order mark is a character like any other. Strict: overlong forms, surrogates,
/// code points above U+10FFFF and incomplete sequences are refused. Returns the offset of the first
/// byte of the first malformed sequence, and leaves `text` untouched then; no value on success.
[[nodiscard]] std::optional<std::size_t> DecodeUtf8(std::string_view bytes, std::wstring& text);

/// Converts wide text to UTF-8. An unpaired surrogate, or a unit that is no code point, is refused:
/// returns its offset in units and leaves `bytes` untouched; no value on success.
[[nodiscard]] std::optional<std::size_t> EncodeUtf8(std::wstring_view text, std::string& bytes);

/// Converts wide text to UTF-8, each unit that EncodeUtf8() refuses as U+FFFD.
[[nodiscard]] std::string EncodeUtf8Replacing(std::wstring_view text);

/// Returns `bytes` without the byte order mark at their start, if there is one.
[[nodiscard]] std::string_view SkipUtf8ByteOrderMark(std::string_view bytes) noexcept;

}  // namespace Orvel::Detail
