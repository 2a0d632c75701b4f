// SPDX-License-Identifier: MIT
#include <windows.h>

#include <bit>
#include <iostream>

#include "orvel/commands/run_on_processor.h"

int main() {
  MCommandProcessor worker;  // a thread with a queue of commands
  worker.Start();

  // Returns at once; the result is read below.
  std::future<DWORD> drives = RunAsync(worker, [] { return ::GetLogicalDrives(); });
  try {
    // Waits until the worker has run it, and raises here what went wrong there.
    RunSynchronously(worker, [] {
      static MSourceContext context(L"Settings", L"BackUp");
      if (!::CopyFileW(L"settings.ini", L"settings.bak", FALSE)) {
        const DWORD code = ::GetLastError();
        RaiseError(context.At(__LINE__, nullptr), L"CannotCopy", L"winErrorCode", code);
      }
    });
  } catch (const MException& exception) {
    std::wcout << exception.GetChainDescription();  // Settings.BackUp:CannotCopy (winErrorCode = 2)
  }
  std::wcout << std::popcount(drives.get()) << L" drives\n";
}
