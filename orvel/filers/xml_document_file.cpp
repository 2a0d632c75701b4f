// SPDX-License-Identifier: MIT
#include <cstddef>
#include <string>
#include <utility>

#include "orvel/filers/text_file.h"
#include "orvel/filers/xml_document.h"
#include "orvel/filers/xml_parser.h"

using Orvel::Detail::TextFileResult;

bool MXmlDocument::LoadFile(const std::wstring& path) {
  constexpr std::size_t kMostBytesPerUnit = 3;
  constexpr std::size_t kByteOrderMark = 3;
  std::wstring text;
  std::size_t badByte = 0;
  switch (Orvel::Detail::ReadTextFile(path, lengthLimit_ * kMostBytesPerUnit + kByteOrderMark, text,
                                      badByte)) {
    case TextFileResult::kRead:
      return SetDocument(std::move(text));
    case TextFileResult::kUnreadable:
      SetUnreadable(L"File cannot be read");
      break;
    case TextFileResult::kTooLong:
      SetUnreadable(L"Document too long");
      break;
    case TextFileResult::kMalformed:
      SetUnreadable(Orvel::Detail::FormatXmlError(L"File is not UTF-8 at byte %d", {}, {badByte}));
      break;
  }
  return false;
}

bool MXmlDocument::SaveFile(const std::wstring& path) {
  return Orvel::Detail::WriteTextFile(path, GetDocumentText());
}
