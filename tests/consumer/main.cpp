// SPDX-License-Identifier: MIT
#include <iostream>
#include <sstream>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"
#include "own_parts.h"

namespace {

bool Check(bool condition, const char* what) {
  std::cout << (condition ? "ok: " : "FAILED: ") << what << '\n';
  return condition;
}

}  // namespace

int main() {
  bool ok = true;
  MCommandProcessor processor;
  processor.Start();

  int result = 0;
  processor.ExecuteSynchronously(MakeCommandSynchronous(nullptr, [&result] { result = 42; }));
  ok &= Check(result == 42, "a synchronous command has run when the call returns");

  const auto error = std::make_shared<MException>();
  processor.ExecuteSynchronously(MakeCommandSynchronous(error, [] {
    static MSourceContext context(L"Consumer", L"Work");
    RaiseError(context.At(__LINE__, nullptr), L"NothingToDo", L"attempt", 1u);
  }));
  ok &= Check(error->GetChainDescription() == L"Consumer.Work:NothingToDo (attempt = 1)\n",
              "its error comes back");
  processor.Stop();

  std::ostringstream dump;
  DumpOwnLogger(dump);
  ok &= Check(dump.str().find("in_class Consumer at_point 3") != std::string::npos,
              "an own logger dumps what it recorded");
  return ok ? 0 : 1;
}
