// SPDX-License-Identifier: MIT
#pragma once

#include <fstream>
#include <string>

namespace FolderAudit {

/// The file that takes the flow log at the end of a run. Thread-compatible.
class FlowLogFile {
 public:
  /// Creates the file, so that a bad name fails before the work and not after it. Raises
  /// "CannotCreateFlowLog" ("errno", "file"). With an empty name there is no file.
  explicit FlowLogFile(const std::wstring& name);
  FlowLogFile(const FlowLogFile&) = delete;
  FlowLogFile& operator=(const FlowLogFile&) = delete;

  /// Writes what was recorded so far. Raises "CannotWriteFlowLog" ("file").
  void Dump();

 private:
  const std::wstring name_;
  std::ofstream stream_;
};

}  // namespace FolderAudit
