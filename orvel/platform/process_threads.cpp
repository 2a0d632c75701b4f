// SPDX-License-Identifier: MIT
#include "orvel/platform/process_threads.h"

#include "orvel/platform/windows_api.h"

#include <tlhelp32.h>

namespace Orvel::Detail {

ObservedThread::ObservedThread() noexcept
    : thread_(::OpenThread(SYNCHRONIZE | THREAD_QUERY_LIMITED_INFORMATION, FALSE,
                           ::GetCurrentThreadId())),
      endSlot_(::FlsAlloc(&OnEnd)) {
  if (endSlot_ == FLS_OUT_OF_INDEXES || !::FlsSetValue(endSlot_, this)) endsByItself_.store(true);
}

ObservedThread::~ObservedThread() {
  if (endSlot_ != FLS_OUT_OF_INDEXES) ::FlsFree(endSlot_);
}

std::uint32_t ObservedThread::GetExitCode() const noexcept {
  DWORD code = 0;
  ::GetExitCodeThread(thread_.Get(), &code);
  return code == 0 && !endsByItself_.load() ? 1 : code;
}

void ObservedThread::OnEnd(void* self) noexcept {
  static_cast<ObservedThread*>(self)->endsByItself_.store(true);
}

bool IsOnlyThread() noexcept {
  const MFileHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  if (!snapshot) return false;
  THREADENTRY32 thread{};
  thread.dwSize = sizeof thread;
  std::uint32_t count = 0;
  for (BOOL found = ::Thread32First(snapshot.Get(), &thread); found != FALSE;
       found = ::Thread32Next(snapshot.Get(), &thread)) {
    if (thread.th32OwnerProcessID == ::GetCurrentProcessId()) ++count;
  }
  return count == 1;
}

}  // namespace Orvel::Detail
