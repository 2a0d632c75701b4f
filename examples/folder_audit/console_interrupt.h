// SPDX-License-Identifier: MIT
#pragma once

#include "folder_audit/stop_request.h"

namespace FolderAudit {

/// From here on Ctrl-C, Ctrl-Break and the closing of the console request a stop instead of ending
/// the process; a second Ctrl-C ends it as usual. Returns that request, the same one each time and
/// good to the end of the process. Its action runs on a thread of the system's. Raises
/// "CannotWatchConsole" ("winErrorCode").
[[nodiscard]] StopRequest& WatchConsoleInterrupt();

}  // namespace FolderAudit
