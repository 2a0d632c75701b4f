// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/store/xml_names.h"

namespace Orvel::Detail {
namespace {

#ifdef ORVEL_WIDE_SEARCH_SSE2
/// True when all of 16 bytes are known as characters of names. So are most names, and that takes
/// fewer steps than to look for each character that ends one.
bool AreAllNameBytes(__m128i bytes) noexcept {
  const __m128i letters = _mm_cmpeq_epi8(_mm_max_epu8(bytes, _mm_set1_epi8('@')), bytes);
  const __m128i others = EqualAnyByte(bytes, {'/', '\\'});
  const __m128i known = _mm_or_si128(letters, BytesInRange(bytes, '-', ':'));
  return ByteBits(_mm_andnot_si128(others, known)) == 0xFFFF;
}
#endif

}  // namespace

bool HoldsXmlTagNameEnd(std::wstring_view text) noexcept {
#ifdef ORVEL_WIDE_SEARCH_SSE2
  constexpr auto kLanes = static_cast<std::size_t>(kNarrowLanes);
  // No loop, which would have more constants in registers than a function on Windows may use
  // without saving them: short names would pay for that.
  if (text.size() > kLanes)
    return HoldsXmlTagNameEnd(text.substr(0, kLanes)) || HoldsXmlTagNameEnd(text.substr(kLanes));
  if (text.size() >= kShortestNarrow) {
    const __m128i bytes = text.size() <= 8 ? LoadNarrowEnds4(text) : LoadNarrowEnds8(text);
    if (AreAllNameBytes(bytes)) return false;
  }
#endif
  return HoldsXmlChar(text, kXmlTagNameEnd);
}

std::wstring_view FindXmlTagName(std::wstring_view startTag) noexcept {
  startTag.remove_prefix(1);
  const wchar_t* const name = startTag.data();
  return startTag.substr(0, XmlTagNameLength(name, name + startTag.size()));
}

bool EqualFoldedXmlNames(std::wstring_view a, std::wstring_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldXmlCase(a[i]) != FoldXmlCase(b[i])) return false;
  }
  return true;
}

}  // namespace Orvel::Detail
