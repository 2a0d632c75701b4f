// SPDX-License-Identifier: MIT
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "orvel/filers/xml/document/xml_document.h"
#include "orvel/foundation/decimal_text.h"
#include "orvel/foundation/utf8.h"
#include "orvel/platform/whole_file.h"

namespace {

using Orvel::Detail::FileFailure;
using Orvel::Detail::FileStep;

constexpr MXmlStep StepOf(FileStep step) noexcept {
  switch (step) {
    case FileStep::kNone:
      return MXmlStep::kNone;
    case FileStep::kOpen:
      return MXmlStep::kOpen;
    case FileStep::kRead:
      return MXmlStep::kRead;
    case FileStep::kLength:
      return MXmlStep::kLength;
    case FileStep::kCreate:
      return MXmlStep::kCreate;
    case FileStep::kWrite:
      return MXmlStep::kWrite;
    case FileStep::kReplace:
      break;
  }
  return MXmlStep::kReplace;
}

MXmlFailure FailureOf(const FileFailure& failure) {
  const wchar_t* const detail = failure.step == FileStep::kLength ? L"Document too long" : L"";
  return {StepOf(failure.step), failure.winErrorCode, detail};
}

MXmlFailure TextFailure(MXmlStep step, const wchar_t* what, std::size_t offset) {
  return {step, 0, what + Orvel::Detail::DecimalText(offset)};
}

/// Reads a UTF-8 file of at most `maxUnits` units, without its byte order mark if it has one. On
/// failure `text` is untouched.
MXmlFailure ReadTextFile(const std::wstring& path, std::size_t maxUnits, std::wstring& text) {
  constexpr std::size_t kMaxBytesPerUnit = 3;
  constexpr std::size_t kByteOrderMark = 3;
  std::string bytes;
  const FileFailure failure =
      Orvel::Detail::ReadWholeFile(path, maxUnits * kMaxBytesPerUnit + kByteOrderMark, bytes);
  if (failure.step != FileStep::kNone) return FailureOf(failure);
  const std::string_view content = Orvel::Detail::SkipUtf8ByteOrderMark(bytes);
  const std::size_t markBytes = bytes.size() - content.size();
  const std::size_t zero = content.find('\0');
  std::wstring decoded;
  if (const auto offset = Orvel::Detail::DecodeUtf8(content.substr(0, zero), decoded))
    return TextFailure(MXmlStep::kDecode, L"File is not UTF-8 at byte ", markBytes + *offset);
  if (zero != std::string_view::npos)
    return TextFailure(MXmlStep::kDecode, L"File has a zero character at byte ", markBytes + zero);
  text = std::move(decoded);
  return {};
}

}  // namespace

bool MXmlDocument::LoadFile(const std::wstring& path) {
  std::wstring text;
  MXmlFailure failure = ReadTextFile(path, lengthLimit_, text);
  if (failure.step != MXmlStep::kNone) {
    SetUnreadable(failure.winErrorCode != 0 ? L"File cannot be read" : failure.detail);
  } else if (!SetDocument(std::move(text))) {
    failure = {MXmlStep::kParse, 0, errorText_};
  }
  failure_ = std::move(failure);
  return failure_.step == MXmlStep::kNone;
}

bool MXmlDocument::SaveFile(const std::wstring& path) {
  std::string bytes;
  if (const auto unpaired = Orvel::Detail::EncodeUtf8(GetDocumentText(), bytes)) {
    failure_ = TextFailure(MXmlStep::kEncode, L"Unpaired surrogate at offset ", *unpaired);
  } else {
    failure_ = FailureOf(Orvel::Detail::ReplaceWholeFile(path, bytes));
  }
  return failure_.step == MXmlStep::kNone;
}
