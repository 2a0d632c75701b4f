// SPDX-License-Identifier: MIT
#include "orvel/platform/system_message.h"

#include <cstddef>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

std::wstring FindSystemMessage(std::uint32_t code) {
  constexpr std::size_t kUsualUnits = 512;
  constexpr std::size_t kMostUnits = std::size_t{32} * 1024;  // the call refuses more than 64 KB
  const DWORD lastError = ::GetLastError();
  std::wstring message;
  for (std::size_t units = kUsualUnits; units <= kMostUnits; units *= 8) {
    message.resize(units);
    const DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                         0, message.data(), static_cast<DWORD>(message.size()), nullptr);
    message.resize(length);
    if (length != 0 || ::GetLastError() != ERROR_INSUFFICIENT_BUFFER) break;
  }
  ::SetLastError(lastError);
  return message;
}

}  // namespace Orvel::Detail
