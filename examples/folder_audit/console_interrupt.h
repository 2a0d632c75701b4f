// SPDX-License-Identifier: MIT
#pragma once

#include <stop_token>

namespace FolderAudit {

/// Makes Ctrl-C, Ctrl-Break and closing the console request a stop instead of ending the process. A
/// second Ctrl-C ends the process at once, whatever its threads are waiting for. Returns the token
/// of the stop request, the same one on every call. Raises "CannotWatchConsole" ("winErrorCode").
[[nodiscard]] std::stop_token WatchConsoleInterrupt();

}  // namespace FolderAudit
