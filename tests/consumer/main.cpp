// SPDX-License-Identifier: MIT
// Includes <windows.h> first, as a program does that never thought of the library's headers.
#include <windows.h>

#include <iostream>
#include <memory>
#include <sstream>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"
#include "orvel/logging/klogger_adapter.h"
#include "orvel/logging/label_id.h"

#if defined(UNICODE) || defined(WIN32_LEAN_AND_MEAN)
#error "the library chooses how this program sees <windows.h>"
#endif

namespace {

bool Check(bool condition, const char* what) {
  std::cout << (condition ? "ok: " : "FAILED: ") << what << '\n';
  return condition;
}

}  // namespace

int main() {
  MCommandProcessor processor;
  processor.Start();
  const auto error = std::make_shared<MException>();
  processor.ExecuteSynchronously(MakeCommandSynchronous(error, [] {
    static MSourceContext context(L"Consumer", L"Work");
    RaiseError(context.At(__LINE__, nullptr), L"NothingToDo", L"attempt", 1u);
  }));
  bool ok = Check(error->GetChainDescription() == L"Consumer.Work:NothingToDo (attempt = 1)\n",
                  "a synchronous command's error comes back");
  processor.Stop();

  const auto implementation = std::make_unique<MFlowLoggerImplementation>();
  MKLoggerAdapter logger(implementation.get());
  constexpr std::int32_t kClassId = FlowLabelId(L"Consumer");
  logger.nameLabel(kClassId, L"Consumer");
  logger.logEvent(static_cast<std::int32_t>(MFlowEvent::kTimingPoint), 1, 2, kClassId, 3, 0);
  std::ostringstream dump;
  logger.dump(dump);
  ok &= Check(dump.str().find("in_class Consumer at_point 3") != std::string::npos,
              "an own logger dumps what it recorded");
  return ok ? 0 : 1;
}
