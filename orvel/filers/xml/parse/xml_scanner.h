// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "orvel/filers/xml/store/xml_record.h"
#include "orvel/platform/wide_search.h"

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

/// First character in the range that is in one of `classes`, or `end`.
[[nodiscard]] constexpr const wchar_t* FindXmlChar(const wchar_t* begin, const wchar_t* end,
                                                   unsigned classes) noexcept {
  while (begin != end && !IsXmlChar(*begin, classes)) ++begin;
  return begin;
}

/// First character in the range that is in none of `classes`, or `end`.
[[nodiscard]] constexpr const wchar_t* SkipXmlChars(const wchar_t* begin, const wchar_t* end,
                                                    unsigned classes) noexcept {
  while (begin != end && IsXmlChar(*begin, classes)) ++begin;
  return begin;
}

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

/// True when a text holds a character that ends tag names.
[[nodiscard]] bool HoldsXmlTagNameEnd(std::wstring_view text) noexcept;

/// True when a text holds a character that may not be in the name of an attribute.
[[nodiscard]] bool HoldsXmlAttributeNameEnd(std::wstring_view text) noexcept;

/// True when a text holds a character that must be escaped in text.
[[nodiscard]] bool HoldsXmlTextEscape(std::wstring_view text) noexcept;

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

/// The name in a start tag.
[[nodiscard]] std::wstring_view FindXmlTagName(std::wstring_view startTag) noexcept;

/// What ScanXmlMarkup() found.
enum class XmlTokenKind {
  kStartTag,
  kEndTag,
  kNode,          ///< another complete construct; XmlToken::nodeKind tells which
  kIncorrect,     ///< no construct begins here; its length is that of the `<` alone
  kUnterminated,  ///< a construct that runs to the end of the text
  kTooLong        ///< a tag that is longer than an element record can say
};

/// One construct of markup.
struct XmlToken {
  XmlTokenKind kind = XmlTokenKind::kNode;
  MXmlNodeKind nodeKind = MXmlNodeKind::kNone;  ///< of a kNode
  bool selfClosed = false;                      ///< of a start tag
  std::size_t length = 0;                       ///< in units, from the `<`; never 0
  std::size_t nameLength = 0;                   ///< of a tag's name
  const wchar_t* construct = nullptr;           ///< of an error: how its message names it
};

/// Scans the comment, section, instruction or declaration at `begin`, which points to a `<` that
/// no tag begins with.
[[nodiscard]] XmlToken ScanXmlDeclaration(const wchar_t* begin, const wchar_t* end) noexcept;

/// The `>` that ends a start tag of which `next` is a part outside of strings, the first `skipped`
/// characters of which, at most 16, are not looked at; `end` if there is none.
[[nodiscard]] inline const wchar_t* FindXmlStartTagClose(const wchar_t* next, const wchar_t* end,
                                                         unsigned skipped) noexcept {
  wchar_t string = 0;  // the quote that began the string that `next` is in
  for (;;) {
    const wchar_t* stop = end;
#ifdef ORVEL_WIDE_SEARCH_SSE2
    // A search for each quote would have to wait for the one before. Here nothing waits, and there
    // are no branches that depend on where the quotes are.
    if (end - next >= kNarrowLanes) {
      const __m128i bytes = LoadNarrow(next);
      const unsigned ahead = ~0U << skipped;
      const unsigned quotes = ByteBits(EqualBytes(bytes, '"')) & ahead;
      const unsigned apostrophes = ByteBits(EqualBytes(bytes, '\'')) & ahead;
      if (quotes == 0 || apostrophes == 0) {
        const unsigned both = quotes | apostrophes;
        const unsigned marks = string == 0 ? both : (string == L'"' ? quotes : apostrophes);
        // Bit by bit, whether the number of marks up to there is odd.
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
  const wchar_t* tag;  // points to the `>`; the end of the range if there is none
};

/// Where the name that begins at `name`, and the start tag of that name, end. Without a name there
/// is no tag, and nothing is searched for its end.
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

/// Scans the construct at `begin`, which must point to a `<` before `end`. The time is
/// proportional to the length of the token.
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

/// The attributes in the part of a tag behind its name and before its end, one after the other.
/// Tolerates whatever stands there. Holds a view: the text must not change meanwhile.
class XmlAttributeScanner {
 public:
  explicit XmlAttributeScanner(std::wstring_view attributes) noexcept
      : begin_(attributes.data()), next_(begin_), end_(begin_ + attributes.size()) {}

  /// Moves to the next attribute; false behind the last one.
  bool Next() noexcept;

  /// True when a string that has no end was met, as an instruction may hold one.
  [[nodiscard]] bool HasOpenString() const noexcept { return hasOpenString_; }
  [[nodiscard]] std::wstring_view GetName() const noexcept { return name_; }
  /// The text between the quotes, still escaped; empty when there is none.
  [[nodiscard]] std::wstring_view GetRawValue() const noexcept { return value_; }
  /// Offset from the start of the attributes of what stands behind the name: `=`, the value and
  /// its quotes.
  [[nodiscard]] std::size_t GetAssignmentStart() const noexcept { return assignmentStart_; }
  /// Offset of the end of the attribute.
  [[nodiscard]] std::size_t GetEnd() const noexcept {
    return static_cast<std::size_t>(next_ - begin_);
  }

 private:
  const wchar_t* SkipString(const wchar_t* quote) noexcept;

  const wchar_t* begin_;
  const wchar_t* next_;
  const wchar_t* end_;
  std::wstring_view name_;
  std::wstring_view value_;
  std::size_t assignmentStart_ = 0;
  bool hasOpenString_ = false;
};

}  // namespace Orvel::Detail
