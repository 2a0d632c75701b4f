// SPDX-License-Identifier: MIT
#include "folder_audit/console_interrupt.h"

#include "folder_audit/windows_api.h"
#include "orvel/foundation/system_error.h"
#include "orvel/logging/flow_log.h"

namespace FolderAudit {
namespace {

std::stop_source& Interrupt() {
  // Never destroyed: the system may call the handler to the very end of the process.
  static std::stop_source* const source = new std::stop_source;
  return *source;
}

// The system calls handlers one at a time: while this one waits for anything, a second Ctrl-C has
// no effect. So it does nothing but make the request.
BOOL WINAPI OnConsoleEvent(DWORD event) noexcept {
  static const MFlowPoint point(L"ConsoleInterrupt", L"OnConsoleEvent");
  flowLogger().nameCurrentThread(L"Console event thread");
  const MFlowScope scope(point, &Interrupt());
  if (!Interrupt().request_stop()) return FALSE;
  // Of the others the process would not survive the return: leave it time to report.
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) ::Sleep(INFINITE);
  return TRUE;
}

}  // namespace

std::stop_token WatchConsoleInterrupt() {
  static MSourceContext context(L"ConsoleInterrupt", L"WatchConsoleInterrupt");
  NameFlowObject(&Interrupt(), L"ConsoleInterrupt");
  const MFlowScope scope(context, &Interrupt());
  // A parent may have had Ctrl-C ignored, which children inherit.
  ::SetConsoleCtrlHandler(nullptr, FALSE);
  if (!::SetConsoleCtrlHandler(OnConsoleEvent, TRUE)) {
    const DWORD code = ::GetLastError();
    RaiseSystemError(context.At(__LINE__, &Interrupt()), L"CannotWatchConsole", code);
  }
  return Interrupt().get_token();
}

}  // namespace FolderAudit
