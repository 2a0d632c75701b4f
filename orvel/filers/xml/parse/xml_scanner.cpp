// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/parse/xml_scanner.h"

#include <initializer_list>

namespace Orvel::Detail {
namespace {

/// Points behind the first `ending` in the range; null when there is none.
const wchar_t* FindBehind(const wchar_t* begin, const wchar_t* end,
                          std::wstring_view ending) noexcept {
  for (;;) {
    begin = FindWide(begin, end, ending.front());
    if (static_cast<std::size_t>(end - begin) < ending.size()) return nullptr;
    if (std::wstring_view(begin, ending.size()) == ending) return begin + ending.size();
    ++begin;
  }
}

/// Points behind the `>` that closes a declaration whose own `<` is already passed; null when
/// there is none.
const wchar_t* FindDeclarationEnd(const wchar_t* begin, const wchar_t* end) noexcept {
  std::size_t depth = 1;
  for (; begin != end; ++begin) {
    if (*begin == L'<') {
      ++depth;
    } else if (*begin == L'>' && --depth == 0) {
      return begin + 1;
    }
  }
  return nullptr;
}

XmlToken MakeIncorrect(const wchar_t* construct) noexcept {
  XmlToken token;
  token.kind = XmlTokenKind::kIncorrect;
  token.construct = construct;
  token.length = 1;
  return token;
}

bool HoldsXmlChar(std::wstring_view text, unsigned classes) noexcept {
  const wchar_t* const end = text.data() + text.size();
  return FindXmlChar(text.data(), end, classes) != end;
}

#ifdef ORVEL_WIDE_SEARCH_SSE2
constexpr std::size_t kShort = 4;  // too short for HoldsAnyNarrow

__m128i EqualAnyByte(__m128i bytes, std::initializer_list<char> characters) noexcept {
  __m128i hits = _mm_setzero_si128();
  for (const char c : characters) hits = _mm_or_si128(hits, EqualBytes(bytes, c));
  return hits;
}

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
  if (text.size() >= kShort) {
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

bool HoldsXmlAttributeNameEnd(std::wstring_view text) noexcept {
  return HoldsXmlChar(text, kXmlSeparator | kXmlQuote | kXmlTagStart);
}

bool HoldsXmlTextEscape(std::wstring_view text) noexcept {
#ifdef ORVEL_WIDE_SEARCH_SSE2
  if (text.size() >= kShort) {
    return HoldsAnyNarrow(text, [](__m128i bytes) {
      return ByteBits(EqualAnyByte(bytes, {'<', '>', '&'}));
    });
  }
#endif
  return HoldsXmlChar(text, kXmlTextEscape);
}

bool EqualFoldedXmlNames(std::wstring_view a, std::wstring_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldXmlCase(a[i]) != FoldXmlCase(b[i])) return false;
  }
  return true;
}

XmlToken ScanXmlDeclaration(const wchar_t* begin, const wchar_t* end) noexcept {
  XmlToken token;
  token.construct = L"tag";
  const std::size_t available = static_cast<std::size_t>(end - begin);
  const wchar_t* behind = nullptr;
  if (available >= 2 && begin[1] == L'?') {
    token.nodeKind = MXmlNodeKind::kInstruction;
    token.construct = L"Processing instruction";
    behind = FindBehind(begin + 2, end, L"?>");
  } else if (available >= 2 && begin[1] != L'!') {
    return MakeIncorrect(L"tag name character");
  } else if (available >= 3) {
    switch (begin[2]) {
      case L'-':
        if (available >= 4) {
          if (begin[3] != L'-') return MakeIncorrect(L"comment tag");
          token.nodeKind = MXmlNodeKind::kComment;
          token.construct = L"Comment";
          behind = FindBehind(begin + 4, end, L"-->");
        }
        break;
      case L'[':
        token.nodeKind = MXmlNodeKind::kCData;
        token.construct = L"CDATA Section";
        behind = FindBehind(begin + 3, end, L"]]>");
        break;
      case L'D':
      case L'E':
      case L'A':
      case L'N':
        token.nodeKind = MXmlNodeKind::kDocumentType;
        token.construct = L"Doctype";
        behind = FindDeclarationEnd(begin + 3, end);
        break;
      default:
        return MakeIncorrect(L"! tag");
    }
  }
  if (behind == nullptr) {
    token.kind = XmlTokenKind::kUnterminated;
    behind = end;
  }
  token.length = static_cast<std::size_t>(behind - begin);
  return token;
}

/// Points behind the string that begins at `quote`.
const wchar_t* XmlAttributeScanner::SkipString(const wchar_t* quote) noexcept {
  const wchar_t* const twin = FindWide(quote + 1, end_, *quote);
  if (twin != end_) return twin + 1;
  hasOpenString_ = true;
  return end_;
}

bool XmlAttributeScanner::Next() noexcept {
  for (;;) {
    next_ = SkipXmlChars(next_, end_, kXmlSeparator);
    if (next_ == end_) return false;
    if (!IsXmlChar(*next_, kXmlQuote)) break;
    next_ = SkipString(next_);  // it belongs to no name
  }
  const wchar_t* const name = next_;
  next_ = FindXmlChar(next_, end_, kXmlSeparator | kXmlQuote);
  name_ = std::wstring_view(name, static_cast<std::size_t>(next_ - name));
  assignmentStart_ = static_cast<std::size_t>(next_ - begin_);
  value_ = {};
  const wchar_t* value = SkipXmlChars(next_, end_, kXmlSpace);
  if (value == end_ || *value != L'=') return true;
  value = SkipXmlChars(value + 1, end_, kXmlSpace);
  if (value != end_ && IsXmlChar(*value, kXmlQuote)) {
    next_ = SkipString(value++);
    value_ = std::wstring_view(value, static_cast<std::size_t>(next_ - value));
    if (!hasOpenString_) value_.remove_suffix(1);
  } else {
    next_ = FindXmlChar(value, end_, kXmlSpace | kXmlQuote);
    value_ = std::wstring_view(value, static_cast<std::size_t>(next_ - value));
  }
  return true;
}

}  // namespace Orvel::Detail
