// SPDX-License-Identifier: MIT
#include "orvel/platform/debugger_thread_name.h"

#include <iterator>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

constexpr DWORD kThreadNamingException = 0x406D1388;
constexpr DWORD kThreadNamingType = 0x1000;

// A vectored handler, because structured handlers are not in every compiler's language. It may
// see another thread's naming exception as well; continuing is what that one wants, too.
LONG CALLBACK ContinueAfterThreadNaming(EXCEPTION_POINTERS* exception) noexcept {
  return exception->ExceptionRecord->ExceptionCode == kThreadNamingException
             ? EXCEPTION_CONTINUE_EXECUTION
             : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void AnnounceThreadName(std::uint32_t threadId, const char* name) noexcept {
  // 32-bit type, the name, then the 32-bit thread id and 32-bit flags of 0 in one word.
  const ULONG_PTR information[] = {kThreadNamingType, reinterpret_cast<ULONG_PTR>(name), threadId};
  void* const handler = ::AddVectoredExceptionHandler(1, &ContinueAfterThreadNaming);
  if (handler == nullptr) return;  // without it the exception would end the process
  ::RaiseException(kThreadNamingException, 0, static_cast<DWORD>(std::size(information)),
                   information);
  ::RemoveVectoredExceptionHandler(handler);
}

}  // namespace Orvel::Detail
