// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/document/xml_escape.h"

#include <cstddef>
#include <cstdint>

#include "orvel/filers/xml/store/xml_characters.h"
#include "orvel/foundation/decimal_text.h"
#include "orvel/foundation/utf8.h"
#include "orvel/platform/wide_search.h"

namespace Orvel::Detail {
namespace {

struct NamedReference {
  wchar_t character;
  std::wstring_view name;  // with its `;`
};

constexpr NamedReference kNamedReferences[] = {
    {L'<', L"lt;"}, {L'&', L"amp;"}, {L'>', L"gt;"}, {L'\'', L"apos;"}, {L'"', L"quot;"}};

constexpr bool StartsReference(wchar_t c) noexcept {
  return c == L'#' || c == L':' || c == L'_' || (c >= L'A' && c <= L'Z') ||
         (c >= L'a' && c <= L'z') || static_cast<std::uint32_t>(c) >= 128;
}

constexpr bool ContinuesReference(wchar_t c) noexcept {
  return c == L'-' || c == L'.' || (c >= L'0' && c <= L'9') || (StartsReference(c) && c != L'#');
}

/// Returns the length of the well-formed reference at the start of `text`, an `&`; 0 if it is none.
std::size_t ReferenceLength(std::wstring_view text) noexcept {
  if (text.size() < 2 || !StartsReference(text[1])) return 0;
  std::size_t i = 2;
  while (i < text.size() && ContinuesReference(text[i])) ++i;
  return i < text.size() && text[i] == L';' ? i + 1 : 0;
}

void AppendCodePoint(std::uint32_t code, std::wstring& output) {
  wchar_t units[2];
  output.append(units, WriteCodePoint(code, units));
}

/// Resolves the numeric reference, `&#...;`, at the start of `text`. Returns its length; 0 when it
/// is not one of a valid character.
std::size_t AppendNumericReference(std::wstring_view text, std::wstring& output) {
  std::size_t i = 2;
  std::uint32_t base = 10;
  if (i < text.size() && text[i] == L'x') {
    base = 16;
    ++i;
  }
  const std::size_t digits = i;
  std::uint32_t code = 0;
  for (; i < text.size(); ++i) {
    const std::uint32_t digit = HexDigitValue(text[i]);
    if (digit >= base) break;
    code = code * base + digit;
    if (code > kMaxCodePoint) return 0;
  }
  if (i == digits || i == text.size() || text[i] != L';') return 0;
  if (code == 0 || IsSurrogate(code)) return 0;
  AppendCodePoint(code, output);
  return i + 1;
}

/// Resolves the reference at the start of `text`, an `&`. Returns its length; 0 when it is none.
std::size_t AppendReference(std::wstring_view text, std::wstring& output) {
  if (text.size() > 1 && text[1] == L'#') return AppendNumericReference(text, output);
  for (const NamedReference& reference : kNamedReferences) {
    if (text.substr(1, reference.name.size()) != reference.name) continue;
    output += reference.character;
    return reference.name.size() + 1;
  }
  return 0;
}

}  // namespace

bool HoldsXmlTextEscape(std::wstring_view text) noexcept {
  const wchar_t* next = text.data();
  const wchar_t* const end = next + text.size();
#ifdef ORVEL_WIDE_SEARCH_SSE2
  for (; end - next >= kNarrowLanes; next += kNarrowLanes) {
    const __m128i bytes = LoadNarrow(next);
    const __m128i brackets = _mm_or_si128(EqualBytes(bytes, '<'), EqualBytes(bytes, '>'));
    if (ByteBits(_mm_or_si128(brackets, EqualBytes(bytes, '&'))) != 0) return true;
  }
#endif
  return FindXmlChar(next, end, kXmlTextEscape) != end;
}

void AppendXmlEscaped(std::wstring_view text, XmlEscapeOptions options, WideBuffer& output) {
  const unsigned classes = kXmlTextEscape | (options.escapeQuotes ? kXmlQuote : 0U);
  const wchar_t* const begin = text.data();
  const wchar_t* const end = begin + text.size();
  const wchar_t* plain = begin;
  const wchar_t* next = FindXmlChar(begin, end, classes);
  if (next != end) output.Reserve(text.size() + text.size() / 10 + 7);
  while (next != end) {
    if (*next == L'&' && options.keepReferences) {
      const std::size_t length = ReferenceLength(std::wstring_view(next, end));
      if (length != 0) {
        next = FindXmlChar(next + length, end, classes);
        continue;
      }
    }
    output.Append(std::wstring_view(plain, next));
    for (const NamedReference& reference : kNamedReferences) {
      if (reference.character != *next) continue;
      output.Append(L'&');
      output.Append(reference.name);
      break;
    }
    plain = next + 1;
    next = FindXmlChar(plain, end, classes);
  }
  output.Append(std::wstring_view(plain, end));
}

void AppendXmlUnescaped(std::wstring_view text, std::wstring& output) {
  const wchar_t* plain = text.data();
  const wchar_t* const end = plain + text.size();
  const wchar_t* next = FindWide(plain, end, L'&');
  if (next != end) output.reserve(output.size() + text.size());
  while (next != end) {
    output.append(plain, next);
    const std::size_t length = AppendReference(std::wstring_view(next, end), output);
    plain = next + length;
    next = FindWide(next + (length == 0 ? 1 : length), end, L'&');
  }
  output.append(plain, end);
}

}  // namespace Orvel::Detail
