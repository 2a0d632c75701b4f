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

/// Tells the user how the audit goes: progress while it runs, errors and, on request, hashes as
/// they come, a summary at the end. While the audit runs nothing here waits for the terminal.
///
/// For one audit at a time.
class Report final : public IAuditObserver {
 public:
  /// `terminal` is borrowed.
  Report(TerminalWriter& terminal, bool listsHashes);

  void OnFileStarted(const std::wstring& relativePath) override;
  void OnBytesRead(std::uint64_t bytes) noexcept override;
  void OnEntry(const AuditEntry& entry) override;

  /// Prints what the audit came to, and waits until that and all before is written. Raises
  /// "CannotWrite", also for what was to be told before.
  void PrintSummary(const AuditResult& result);
  /// Tells that the audit in `file`, with which this one is compared, is of another folder.
  void PrintOtherFolder(const std::wstring& file, const std::wstring& folder);
  /// Prints what differs from an earlier audit, a line each, and how much; waits and raises as
  /// well.
  void PrintComparison(const std::vector<FileDifference>& differences);

 private:
  void ShowProgress();

  TerminalWriter& terminal_;
  const bool listsHashes_;
  std::atomic<std::uint64_t> fileCount_{0};  // relaxed, like the next: they are only shown
  std::atomic<std::uint64_t> byteCount_{0};
  std::mutex progressMutex_;
  std::wstring currentFile_;                            // under progressMutex_
  std::chrono::steady_clock::time_point nextProgress_;  // under progressMutex_
};

}  // namespace FolderAudit
