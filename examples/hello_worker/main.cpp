// SPDX-License-Identifier: MIT
#include <windows.h>

#include <iostream>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"

int main() {
  MCommandProcessor worker;  // a thread with a queue of commands
  worker.Start();

  const auto error = std::make_shared<MException>();  // what the command tells its caller
  worker.ExecuteSynchronously(MakeCommandSynchronous(error, [] {
    static MSourceContext context(L"Settings", L"BackUp");
    if (!::CopyFileW(L"settings.ini", L"settings.bak", FALSE)) {
      const DWORD code = ::GetLastError();
      RaiseError(context.At(__LINE__, nullptr), L"CannotCopy", L"winErrorCode", code);
    }
  }));
  // The command has run on the worker; what went wrong over there is known here.
  std::wcout << error->GetChainDescription();  // Settings.BackUp:CannotCopy (winErrorCode = 2)
}
