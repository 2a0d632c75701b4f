// SPDX-License-Identifier: MIT
#include "orvel/threads/event_operations.h"

#include <cerrno>

#include "orvel/foundation/exception.h"
#include "orvel/foundation/system_error.h"

namespace Orvel::Detail {
namespace {

constexpr const wchar_t* kErrorAccessingEvent = L"ErrorAccessingEvent";

}  // namespace

KernelHandle CreateEventOrRaise(const MRaiseSite& site, EventReset reset) {
  KernelHandle event = CreateKernelEvent(reset);
  if (!event) RaiseSystemError(site, kErrorAccessingEvent, LastErrorCode());
  return event;
}

void SetEventOrRaise(const MRaiseSite& site, void* event) {
  if (!SetKernelEvent(event)) RaiseSystemError(site, kErrorAccessingEvent, LastErrorCode());
}

void ResetEventOrRaise(const MRaiseSite& site, void* event) {
  if (!ResetKernelEvent(event)) RaiseSystemError(site, kErrorAccessingEvent, LastErrorCode());
}

KernelThread StartThreadOrRaise(const MRaiseSite& site, unsigned (*entry)(void*), void* argument) {
  KernelThread thread = StartKernelThread(entry, argument);
  if (!thread.handle) {
    const int code = errno;
    MError error(site, L"BeginThread");
    error.AddErrnoParameter(code);
    throw MException(error);
  }
  return thread;
}

void RaiseWaitFailure(const MRaiseSite& site, const WaitOutcome& outcome,
                      std::uint32_t handleCount) {
  if (outcome.status == WaitStatus::kFailed) {
    RaiseSystemError(site, L"WaitFailed", outcome.lastError);
  }
  // As unsigned, a status below the first abandoned one is out of range as well.
  const bool abandoned = outcome.status - WaitStatus::kAbandoned0 < handleCount;
  RaiseError(site, abandoned ? L"Abandoned" : L"Unexpected", L"status", outcome.status);
}

}  // namespace Orvel::Detail
