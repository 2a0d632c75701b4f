// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "orvel/filers/xml/store/xml_characters.h"
#include "orvel/platform/wide_search.h"

namespace Orvel::Detail {

/// Returns `c` in lower case if it is an ASCII letter, unchanged if not. Independent of the locale.
[[nodiscard]] constexpr wchar_t FoldXmlCase(wchar_t c) noexcept {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

/// True when two names of any length are equal without regard to case.
[[nodiscard]] bool EqualFoldedXmlNames(std::wstring_view a, std::wstring_view b) noexcept;

/// True when two names of any length are equal.
[[nodiscard]] inline bool EqualXmlNames(std::wstring_view a, std::wstring_view b,
                                        bool ignoreCase) noexcept {
  if (ignoreCase) return EqualFoldedXmlNames(a, b);
  return a.size() == b.size() && EqualWide(a.data(), b.data(), a.size());
}

#ifdef ORVEL_WIDE_SEARCH_SSE2
/// Returns a bit for each of 16 characters that ends a tag name.
[[nodiscard]] inline unsigned XmlTagNameEndBits(__m128i bytes) noexcept {
  __m128i hits = BytesInRange(bytes, '<', '?');                // < = > ?
  hits = _mm_or_si128(hits, BytesInRange(bytes, ' ', '!'));    // and these two
  hits = _mm_or_si128(hits, BytesInRange(bytes, '\t', '\n'));  // and these
  hits = _mm_or_si128(hits, EqualBytes(bytes, '\r'));
  hits = _mm_or_si128(hits, EqualBytes(bytes, '/'));
  hits = _mm_or_si128(hits, EqualBytes(bytes, '\\'));
  return ByteBits(hits);
}
#endif

/// Returns the first character in the range that ends a tag name, or `end`.
[[nodiscard]] inline const wchar_t* FindXmlTagNameEnd(const wchar_t* begin,
                                                      const wchar_t* end) noexcept {
#ifdef ORVEL_WIDE_SEARCH_SSE2
  for (; end - begin >= kNarrowLanes; begin += kNarrowLanes) {
    const unsigned bits = XmlTagNameEndBits(LoadNarrow(begin));
    if (bits != 0) return begin + FirstBit(bits);
  }
#endif
  return FindXmlChar(begin, end, kXmlTagNameEnd);
}

/// Returns the length of the tag name at `begin`.
[[nodiscard]] inline std::size_t XmlTagNameLength(const wchar_t* begin,
                                                  const wchar_t* end) noexcept {
  return static_cast<std::size_t>(FindXmlTagNameEnd(begin, end) - begin);
}

/// True when a text contains a character that ends tag names.
[[nodiscard]] inline bool HoldsXmlTagNameEnd(std::wstring_view text) noexcept {
  return XmlTagNameLength(text.data(), text.data() + text.size()) != text.size();
}

/// Returns the name in a start tag.
[[nodiscard]] std::wstring_view FindXmlTagName(std::wstring_view startTag) noexcept;

}  // namespace Orvel::Detail
