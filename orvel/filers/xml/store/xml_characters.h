// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Orvel::Detail {

// Classes of characters; a character may be in several.
inline constexpr unsigned kXmlSpace = 1;        ///< blank, tab, line feed, carriage return
inline constexpr unsigned kXmlTagNameEnd = 2;   ///< ends the name of a tag
inline constexpr unsigned kXmlSeparator = 4;    ///< ends the name of an attribute; so does a quote
inline constexpr unsigned kXmlQuote = 8;        ///< apostrophe and double quote
inline constexpr unsigned kXmlTextEscape = 16;  ///< must be escaped in text: < & >
inline constexpr unsigned kXmlTagStart = 32;    ///< <

/// The classes of the characters below 128; no other character is in one.
inline constexpr std::array<std::uint8_t, 128> kXmlCharClasses = [] {
  std::array<std::uint8_t, 128> classes{};
  const auto add = [&classes](std::string_view characters, unsigned charClass) {
    for (const char c : characters) {
      std::uint8_t& entry = classes[static_cast<unsigned char>(c)];
      entry = static_cast<std::uint8_t>(entry | charClass);
    }
  };
  add(" \t\n\r", kXmlSpace);
  add(" \t\n\r<>=\\/?!", kXmlTagNameEnd);
  add("= \t\n\r>/?", kXmlSeparator);
  add("'\"", kXmlQuote);
  add("<&>", kXmlTextEscape);
  add("<", kXmlTagStart);
  return classes;
}();

/// True when `c` is in one of `classes`, a sum of the values above.
[[nodiscard]] constexpr bool IsXmlChar(wchar_t c, unsigned classes) noexcept {
  const auto code = static_cast<std::uint32_t>(c);
  return code < 128 && (kXmlCharClasses[code] & classes) != 0;
}

/// Returns the first character in the range that is in one of `classes`, or `end`.
[[nodiscard]] constexpr const wchar_t* FindXmlChar(const wchar_t* begin, const wchar_t* end,
                                                   unsigned classes) noexcept {
  while (begin != end && !IsXmlChar(*begin, classes)) ++begin;
  return begin;
}

/// Returns the first character in the range that is in none of `classes`, or `end`.
[[nodiscard]] constexpr const wchar_t* SkipXmlChars(const wchar_t* begin, const wchar_t* end,
                                                    unsigned classes) noexcept {
  while (begin != end && IsXmlChar(*begin, classes)) ++begin;
  return begin;
}

/// True when the text contains a character that is in one of `classes`.
[[nodiscard]] constexpr bool HoldsXmlChar(std::wstring_view text, unsigned classes) noexcept {
  const wchar_t* const end = text.data() + text.size();
  return FindXmlChar(text.data(), end, classes) != end;
}

}  // namespace Orvel::Detail
