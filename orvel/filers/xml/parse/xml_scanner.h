// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "orvel/filers/xml/store/xml_characters.h"
#include "orvel/filers/xml/store/xml_names.h"
#include "orvel/filers/xml/store/xml_record.h"
#include "orvel/platform/wide_search.h"

namespace Orvel::Detail {

/// What ScanXmlMarkup() found.
enum class XmlTokenKind {
  kStartTag,
  kEndTag,
  kNode,          ///< another complete construct, of the kind XmlToken::nodeKind
  kIncorrect,     ///< no construct begins here; its length is that of the `<` alone
  kUnterminated,  ///< a construct that runs to the end of the text
  kTooLong        ///< a tag that is too long for an element record
};

/// One construct of markup.
struct XmlToken {
  XmlTokenKind kind = XmlTokenKind::kNode;
  MXmlNodeKind nodeKind = MXmlNodeKind::kNone;  ///< of a kNode
  bool selfClosed = false;                      ///< of a start tag
  std::size_t length = 0;                       ///< in units, from the `<`; never 0
  std::size_t nameLength = 0;                   ///< of a tag's name
  const wchar_t* construct = nullptr;           ///< for an error message: what could not be read
};

/// Scans the comment, section, instruction or declaration at `begin`, a `<` that does not begin a
/// tag.
[[nodiscard]] XmlToken ScanXmlDeclaration(const wchar_t* begin, const wchar_t* end) noexcept;

/// Returns the `>` that closes a start tag, or `end` if there is none. The search starts `skipped`
/// characters behind `next`, at most 16, which must be outside of quotes. A `>` inside quotes does
/// not count.
[[nodiscard]] inline const wchar_t* FindXmlStartTagClose(const wchar_t* next, const wchar_t* end,
                                                         unsigned skipped) noexcept {
  wchar_t string = 0;  // the quote that opened the string that `next` is in; 0 outside of strings
  for (;;) {
    const wchar_t* stop = end;
#ifdef ORVEL_WIDE_SEARCH_SSE2
    // Finds all quotes and brackets among 16 characters at once. Searching for one quote after the
    // other would be slower: each search depends on the one before, and so do its branches.
    if (end - next >= kNarrowLanes) {
      const __m128i bytes = LoadNarrow(next);
      const unsigned ahead = ~0U << skipped;
      const unsigned quotes = ByteBits(EqualBytes(bytes, '"')) & ahead;
      const unsigned apostrophes = ByteBits(EqualBytes(bytes, '\'')) & ahead;
      if (quotes == 0 || apostrophes == 0) {
        const unsigned both = quotes | apostrophes;
        const unsigned marks = string == 0 ? both : (string == L'"' ? quotes : apostrophes);
        // Each bit becomes the parity of the marks up to there: 1 inside of a string.
        unsigned inside = marks ^ (marks << 1);
        inside ^= inside << 2;
        inside ^= inside << 4;
        inside ^= inside << 8;
        if (string != 0) inside = ~inside;
        const unsigned closes = ByteBits(EqualBytes(bytes, '>')) & ahead & ~inside;
        if (closes != 0) return next + FirstBit(closes);
        if ((inside & 0x8000U) == 0) {
          string = 0;
        } else if (string == 0) {
          string = quotes != 0 ? L'"' : L'\'';
        }
        next += kNarrowLanes;
        skipped = 0;
        continue;
      }
      stop = next + kNarrowLanes;
    }
#endif
    for (next += skipped; next != stop; ++next) {
      if (string != 0) {
        if (*next == string) string = 0;
      } else if (*next == L'>') {
        return next;
      } else if (IsXmlChar(*next, kXmlQuote)) {
        string = *next;
      }
    }
    if (stop == end) return end;
    skipped = 0;
  }
}

struct XmlStartTagEnds {
  const wchar_t* name;
  const wchar_t* tag;  // the `>`, or the end of the range if there is none
};

/// Returns where the name at `name` ends, and where its start tag does. When the name is empty
/// there is no tag, and no search for its end.
[[nodiscard]] inline XmlStartTagEnds FindXmlStartTagEnds(const wchar_t* name,
                                                         const wchar_t* end) noexcept {
#ifdef ORVEL_WIDE_SEARCH_SSE2
  if (end - name >= kNarrowLanes) {
    if (const unsigned nameEnds = XmlTagNameEndBits(LoadNarrow(name))) {
      const unsigned nameLength = FirstBit(nameEnds);
      const wchar_t* const nameEnd = name + nameLength;
      if (nameLength == 0 || *nameEnd == L'>') return {nameEnd, nameEnd};
      return {nameEnd, FindXmlStartTagClose(name, end, nameLength)};
    }
  }
#endif
  const wchar_t* const nameEnd = FindXmlTagNameEnd(name, end);
  if (nameEnd == name) return {name, name};
  return {nameEnd, FindXmlStartTagClose(nameEnd, end, 0)};
}

/// Scans the construct at `begin`, a `<` before `end`. Takes time in proportion to the length of
/// the token.
[[nodiscard]] inline XmlToken ScanXmlMarkup(const wchar_t* begin, const wchar_t* end) noexcept {
  XmlToken token;
  const wchar_t* const name = begin + 1;
  if (name != end && *name == L'/') {
    const wchar_t* nameEnd = FindXmlTagNameEnd(name + 1, end);
    token.nameLength = static_cast<std::size_t>(nameEnd - name) - 1;
    const wchar_t* const close = FindWide(nameEnd, end, L'>');
    token.construct = L"Element end tag";
    token.kind = XmlTokenKind::kEndTag;
    token.length = static_cast<std::size_t>(close - begin);
    if (close == end) {
      token.kind = XmlTokenKind::kUnterminated;
    } else if (++token.length > MXmlElementRecord::kMaxEndTagLength) {
      token.kind = XmlTokenKind::kTooLong;
    }
    return token;
  }
  const auto [nameEnd, close] = FindXmlStartTagEnds(name, end);
  if (nameEnd == name) return ScanXmlDeclaration(begin, end);
  token.kind = XmlTokenKind::kStartTag;
  token.construct = L"Element tag";
  token.nameLength = static_cast<std::size_t>(nameEnd - name);
  token.length = static_cast<std::size_t>(close - begin);
  if (close == end) {
    token.kind = XmlTokenKind::kUnterminated;
    return token;
  }
  token.selfClosed = close[-1] == L'/';
  if (++token.length > MXmlElementRecord::kMaxStartTagLength) token.kind = XmlTokenKind::kTooLong;
  return token;
}

}  // namespace Orvel::Detail
