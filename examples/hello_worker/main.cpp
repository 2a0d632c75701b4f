// SPDX-License-Identifier: MIT
#include <windows.h>

#include <bit>
#include <iostream>

#include "orvel/commands/run_on_processor.h"

int main() {
  MCommandProcessor worker;  // a thread with a queue of commands
  worker.Start();

  // Goes on at once and looks for the result later.
  std::future<DWORD> drives = RunAsync(worker, [] { return ::GetLogicalDrives(); });
  try {
    // Waits until the worker is through, and gets what went wrong over there.
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
