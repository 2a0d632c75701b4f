// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "orvel/filers/xml/store/xml_characters.h"
#include "orvel/platform/wide_search.h"

namespace Orvel::Detail {

/// `c` as the comparison without regard to case sees it: A to Z become a to z, nothing else
/// changes, whatever the locale is.
[[nodiscard]] constexpr wchar_t FoldXmlCase(wchar_t c) noexcept {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

/// Compares two names without regard to case, of the same length or not.
[[nodiscard]] bool EqualFoldedXmlNames(std::wstring_view a, std::wstring_view b) noexcept;

/// Compares two names, of the same length or not.
[[nodiscard]] inline bool EqualXmlNames(std::wstring_view a, std::wstring_view b,
                                        bool ignoreCase) noexcept {
  if (ignoreCase) return EqualFoldedXmlNames(a, b);
  return a.size() == b.size() && EqualWide(a.data(), b.data(), a.size());
}

#ifdef ORVEL_WIDE_SEARCH_SSE2
/// A bit for each of 16 characters that ends a tag name.
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

/// First character in the range that ends a tag name, or `end`.
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

/// The length of the tag name that begins at `begin`.
[[nodiscard]] inline std::size_t XmlTagNameLength(const wchar_t* begin,
                                                  const wchar_t* end) noexcept {
  return static_cast<std::size_t>(FindXmlTagNameEnd(begin, end) - begin);
}

/// True when a text holds a character that ends tag names.
[[nodiscard]] inline bool HoldsXmlTagNameEnd(std::wstring_view text) noexcept {
  return XmlTagNameLength(text.data(), text.data() + text.size()) != text.size();
}

/// The name in a start tag.
[[nodiscard]] std::wstring_view FindXmlTagName(std::wstring_view startTag) noexcept;

}  // namespace Orvel::Detail
