// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "folder_audit/audit_comparison.h"
#include "folder_audit/audit_observer.h"
#include "folder_audit/terminal_writer.h"

namespace FolderAudit {

/// Shows the user how the audit is going: progress while it runs, errors and, on request, hashes as
/// they come in, and a summary at the end. Nothing waits for the terminal while the audit runs.
///
/// For one audit at a time.
class Report final : public IAuditObserver {
 public:
  /// `terminal` is borrowed.
  Report(TerminalWriter& terminal, bool listsHashes);

  void OnFileStarted(const std::wstring& relativePath) override;
  void OnBytesRead(std::uint64_t bytes) noexcept override;
  void OnEntry(const AuditEntry& entry) override;

  /// Prints the summary and waits until it and everything before it is written. Raises
  /// "CannotWrite", also when something before it could not be written.
  void PrintSummary(const AuditResult& result);
  /// Prints a note that the audit in `file`, with which this one is compared, is of another folder.
  void PrintOtherFolder(const std::wstring& file, const std::wstring& folder);
  /// Prints the differences from an earlier audit, one per line, and how many there are. Waits and
  /// raises as `PrintSummary` does.
  void PrintComparison(const std::vector<FileDifference>& differences);

 private:
  void ShowProgress();

  TerminalWriter& terminal_;
  const bool listsHashes_;
  std::atomic<std::uint64_t> fileCount_{0};  // relaxed, like the next: both are only shown
  std::atomic<std::uint64_t> byteCount_{0};
  std::mutex progressMutex_;
  std::wstring currentFile_;                            // under progressMutex_
  std::chrono::steady_clock::time_point nextProgress_;  // under progressMutex_
};

}  // namespace FolderAudit
