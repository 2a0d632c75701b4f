// SPDX-License-Identifier: MIT
// Includes <windows.h> first, as a program does that never thought of the library's headers.
#include <windows.h>

#include <iostream>
#include <memory>
#include <string>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"

#if defined(UNICODE) || defined(WIN32_LEAN_AND_MEAN)
#error "the library chooses how this program sees <windows.h>"
#endif

int main() {
  MCommandProcessor processor;
  processor.Start();
  const auto error = std::make_shared<MException>();
  processor.ExecuteSynchronously(MakeCommandSynchronous(error, [] {
    static MSourceContext context(L"Consumer", L"Work");
    RaiseError(context.At(__LINE__, nullptr), L"NothingToDo", L"attempt", 1u);
  }));
  const std::wstring description = error->GetChainDescription();
  std::wcout << description;
  return description == L"Consumer.Work:NothingToDo (attempt = 1)\n" ? 0 : 1;
}
