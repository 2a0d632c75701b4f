// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/parse/xml_scanner.h"

#include <string_view>

namespace Orvel::Detail {
namespace {

/// Returns the place behind the first `ending` in the range; null when there is none.
const wchar_t* FindBehind(const wchar_t* begin, const wchar_t* end,
                          std::wstring_view ending) noexcept {
  for (;;) {
    begin = FindWide(begin, end, ending.front());
    if (static_cast<std::size_t>(end - begin) < ending.size()) return nullptr;
    if (std::wstring_view(begin, ending.size()) == ending) return begin + ending.size();
    ++begin;
  }
}

/// Returns the place behind the `>` that closes a declaration, from behind its own `<`; null when
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

}  // namespace

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

}  // namespace Orvel::Detail
