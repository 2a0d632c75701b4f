// SPDX-License-Identifier: MIT
#include "orvel/platform/process_threads.h"

#include "orvel/platform/windows_api.h"

#include <tlhelp32.h>

namespace Orvel::Detail {

KernelHandle OpenCurrentThread() noexcept {
  return KernelHandle(
      ::OpenThread(SYNCHRONIZE | THREAD_QUERY_LIMITED_INFORMATION, FALSE, ::GetCurrentThreadId()));
}

std::uint32_t ExitCodeOfThread(void* thread) noexcept {
  DWORD code = 0;
  ::GetExitCodeThread(thread, &code);
  return code;
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
