// SPDX-License-Identifier: MIT
#include "orvel/platform/system_message.h"

#include <cstddef>

#include "orvel/platform/unique_handle.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

std::wstring FindSystemMessage(std::uint32_t code) {
  constexpr std::size_t kUsualUnits = 512;
  constexpr std::size_t kMaxUnits = std::size_t{32} * 1024;  // the call refuses more than 64 KB
  const LastErrorKeeper keeper;
  std::wstring message;
  for (std::size_t units = kUsualUnits; units <= kMaxUnits; units *= 8) {
    message.resize(units);
    const DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                         0, message.data(), static_cast<DWORD>(message.size()), nullptr);
    const DWORD failure = ::GetLastError();
    message.resize(length);
    if (length != 0 || failure != ERROR_INSUFFICIENT_BUFFER) break;
  }
  return message;
}

}  // namespace Orvel::Detail
