// SPDX-License-Identifier: MIT
#include "orvel/foundation/system_error.h"

#include <algorithm>
#include <cstddef>

#include "orvel/foundation/decimal_text.h"
#include "orvel/foundation/exception.h"
#include "orvel/platform/system_message.h"

namespace Orvel::Detail {
namespace {

/// `message` on one line, without what ends it.
std::wstring TidyMessage(std::wstring message) {
  std::replace_if(
      message.begin(), message.end(), [](wchar_t unit) { return unit < L' '; }, L' ');
  const auto isRepeatedBlank = [](wchar_t left, wchar_t right) {
    return left == L' ' && right == L' ';
  };
  message.erase(std::unique(message.begin(), message.end(), isRepeatedBlank), message.end());
  constexpr const wchar_t* kEnds =
      L" .\x3002";  // the last is the full stop of Chinese and Japanese
  const std::size_t last = message.find_last_not_of(kEnds);
  message.resize(last == std::wstring::npos ? 0 : last + 1);
  return message;
}

}  // namespace

void RaiseSystemErrorCode(const MRaiseSite& site, const wchar_t* errorName, std::uint32_t code) {
  RaiseError(site, errorName, L"winErrorCode", code);
}

std::wstring SystemErrorCodeText(std::uint32_t code) {
  constexpr std::uint32_t kWin32Facility = 0x80070000;  // an HRESULT that wraps a plain code
  constexpr std::uint32_t kPlainCodes = 0xFFFF;
  std::wstring text = TidyMessage(FindSystemMessage(code));
  if (text.empty() && (code & ~kPlainCodes) == kWin32Facility) {
    text = TidyMessage(FindSystemMessage(code & kPlainCodes));
  }
  if (!text.empty()) return text;
  return L"Unknown system error " + (code <= kPlainCodes ? DecimalText(code) : HexText(code, 8));
}

}  // namespace Orvel::Detail
