// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "orvel/foundation/error.h"
#include "orvel/foundation/source_context.h"

namespace Orvel::Detail {

/// What Windows declares its codes as: DWORD, HRESULT, LSTATUS, and plain literals.
template <class Type>
concept SystemCode = WholeNumber<Type> && sizeof(Type) == 4;

[[noreturn]] void RaiseSystemErrorCode(const MRaiseSite& site, const wchar_t* errorName,
                                       std::uint32_t code);
[[nodiscard]] std::wstring SystemErrorCodeText(std::uint32_t code);

}  // namespace Orvel::Detail

/// Raises an `MException` of one error with the system's code as "winErrorCode", in unsigned
/// decimal. Take the code with `GetLastError()` in the statement right after the call that failed:
/// what runs in between may change it.
template <Orvel::Detail::SystemCode Code>
[[noreturn]] void RaiseSystemError(const MRaiseSite& site, const wchar_t* errorName, Code code) {
  Orvel::Detail::RaiseSystemErrorCode(site, errorName, static_cast<std::uint32_t>(code));
}

/// The system's own words for one of its codes, from `GetLastError()`, from a registry call or an
/// HRESULT, without a full stop and without line breaks: "Access denied" for 5. In the language in
/// which Windows talks to the calling thread, so for people, and not for programs to compare. Where
/// the system fills in a name that it does not know here, "%1" stands. "Unknown system error 4711",
/// or "0x8765ABCD" instead of the number when it has more than 16 bits, when the system has no
/// words. Keeps the thread's last error code; may be called on any thread. Raises nothing but
/// `std::bad_alloc`.
template <Orvel::Detail::SystemCode Code>
[[nodiscard]] std::wstring SystemErrorText(Code code) {
  return Orvel::Detail::SystemErrorCodeText(static_cast<std::uint32_t>(code));
}
