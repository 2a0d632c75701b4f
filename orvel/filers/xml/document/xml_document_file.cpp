// SPDX-License-Identifier: MIT
#include <cstddef>
#include <string>
#include <utility>

#include "orvel/platform/whole_file.h"
#include "orvel/filers/xml/document/xml_document.h"

bool MXmlDocument::LoadFile(const std::wstring& path) {
  constexpr std::size_t kMostBytesPerUnit = 3;
  constexpr std::size_t kByteOrderMark = 3;
  std::wstring text;
  MXmlFailure failure =
      Orvel::Detail::ReadTextFile(path, lengthLimit_ * kMostBytesPerUnit + kByteOrderMark, text);
  if (failure.step != MXmlStep::kNone) {
    SetUnreadable(failure.winErrorCode != 0 ? L"File cannot be read" : failure.detail);
  } else if (!SetDocument(std::move(text))) {
    failure = {MXmlStep::kParse, 0, errorText_};
  }
  failure_ = std::move(failure);
  return failure_.step == MXmlStep::kNone;
}

bool MXmlDocument::SaveFile(const std::wstring& path) {
  failure_ = Orvel::Detail::WriteTextFile(path, GetDocumentText());
  return failure_.step == MXmlStep::kNone;
}
