// SPDX-License-Identifier: MIT
#pragma once

#include <stop_token>

namespace FolderAudit {

/// From here on Ctrl-C, Ctrl-Break and the closing of the console request a stop instead of ending
/// the process; a second Ctrl-C ends it at once, whatever its threads wait for. Returns the token
/// of that request, the same one each time. Raises "CannotWatchConsole" ("winErrorCode").
[[nodiscard]] std::stop_token WatchConsoleInterrupt();

}  // namespace FolderAudit
