// SPDX-License-Identifier: MIT
#include "orvel/filers/xml/document/xml_failure.h"

#include "orvel/foundation/system_error.h"

namespace {

const wchar_t* Describe(MXmlStep step) noexcept {
  switch (step) {
    case MXmlStep::kOpen:
      return L"Cannot open";
    case MXmlStep::kRead:
      return L"Cannot read";
    case MXmlStep::kCreate:
      return L"Cannot create a file in the folder";
    case MXmlStep::kWrite:
      return L"Cannot write";
    case MXmlStep::kReplace:
      return L"Cannot replace the file";
    default:
      return L"";  // steps that have their detail
  }
}

}  // namespace

std::wstring MXmlFailure::GetText() const {
  if (winErrorCode == 0) return detail;
  return std::wstring(Describe(step)) + L": " + SystemErrorText(winErrorCode);
}
