// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "orvel/foundation/error.h"
#include "orvel/foundation/source_context.h"
#include "orvel/foundation/whole_number.h"

namespace Orvel::Detail {

/// What Windows declares its codes as: DWORD, HRESULT, LSTATUS, and plain literals.
template <class Type>
concept SystemCode = WholeNumber<Type> && sizeof(Type) == 4;

[[noreturn]] void RaiseSystemErrorCode(const MRaiseSite& site, const wchar_t* errorName,
                                       std::uint32_t code);
[[nodiscard]] std::wstring SystemErrorCodeText(std::uint32_t code);

}  // namespace Orvel::Detail

/// Raises an `MException` of one error with the system's code as "winErrorCode", in unsigned
/// decimal, or `std::bad_alloc` when memory runs out. Call `GetLastError()` in the statement right
/// after the call that failed: anything in between may change the code. Any thread.
template <Orvel::Detail::SystemCode Code>
[[noreturn]] void RaiseSystemError(const MRaiseSite& site, const wchar_t* errorName, Code code) {
  Orvel::Detail::RaiseSystemErrorCode(site, errorName, static_cast<std::uint32_t>(code));
}

/// Returns the system's message for one of its codes (from `GetLastError()`, a registry call or an
/// HRESULT) on one line and without a full stop: "Access denied" for 5. The message is in the
/// language that Windows uses for the calling thread, so show it to people and do not compare it in
/// programs. "%1" stands for a name that the system would fill in. Without a message, returns
/// "Unknown system error 4711", with a code of more than 16 bits as "0x8765ABCD". Keeps the
/// thread's last error code. May be called on any thread; raises nothing but `std::bad_alloc`.
template <Orvel::Detail::SystemCode Code>
[[nodiscard]] std::wstring SystemErrorText(Code code) {
  return Orvel::Detail::SystemErrorCodeText(static_cast<std::uint32_t>(code));
}
