// SPDX-License-Identifier: MIT
#include "folder_audit/error_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cwchar>

#include "orvel/foundation/system_error.h"

namespace FolderAudit {
namespace {

/// The C runtime's message for an error number.
std::wstring ErrnoText(const std::wstring& errnoCode) {
  std::array<wchar_t, 128> buffer{};
  const int code = static_cast<int>(std::wcstol(errnoCode.c_str(), nullptr, 10));
  return ::_wcserror_s(buffer.data(), buffer.size(), code) == 0 ? buffer.data() : std::wstring();
}

}  // namespace

std::wstring DescribeCause(const MException& exception) {
  // The system's message belongs to the error that the system caused: the oldest.
  std::wstring text;
  if (!exception.GetErrors().empty() && exception.GetErrors().front() != nullptr) {
    const MError& cause = *exception.GetErrors().front();
    if (const std::wstring* const code = cause.FindParameter(L"winErrorCode")) {
      text = SystemErrorText(static_cast<std::uint32_t>(std::wcstoul(code->c_str(), nullptr, 10)));
    } else if (const std::wstring* const number = cause.FindParameter(L"errno")) {
      text = ErrnoText(*number);
    }
  }
  const std::wstring chain = exception.GetChainDescription();
  const std::wstring cause = chain.substr(0, chain.find(L'\n'));
  if (text.empty()) return Printable(cause.empty() ? L"unknown error" : cause);
  return Printable(text + L" - " + cause);
}

std::wstring Printable(std::wstring_view text) {
  std::wstring result(text);
  std::replace_if(
      result.begin(), result.end(),
      [](wchar_t unit) { return unit < 0x20 || (unit >= 0x7F && unit < 0xA0); }, L'?');
  return result;
}

}  // namespace FolderAudit
