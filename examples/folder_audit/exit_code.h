// SPDX-License-Identifier: MIT
#pragma once

namespace FolderAudit {

/// The program's exit codes, as --help documents them.
enum class ExitCode : int {
  kAllRead = 0,
  kSomeUnreadable = 1,
  kUsage = 2,
  kInterrupted = 3,
  kFailure = 4,
  kDifferent = 5
};

}  // namespace FolderAudit
