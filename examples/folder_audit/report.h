// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "folder_audit/audit_comparison.h"
#include "folder_audit/folder_audit.h"
#include "folder_audit/text_output.h"

namespace FolderAudit {

/// Tells the user how the audit goes: progress while it runs, errors and, on request, hashes as
/// they come, a summary at the end.
///
/// For one audit at a time, whose calls do not overlap.
class Report final : public IAuditObserver {
 public:
  /// The outputs are borrowed.
  Report(TextOutput& output, TextOutput& error, bool listsHashes);

  void OnFileStarted(const std::wstring& relativePath) override;
  void OnBytesRead(std::uint64_t bytes) noexcept override;
  void OnEntry(const AuditEntry& entry) override;

  /// Prints what the audit came to. Raises "CannotWrite".
  void PrintSummary(const AuditResult& result);
  /// Prints what differs from an earlier audit, a line each, and how much. Raises "CannotWrite".
  void PrintComparison(const std::vector<FileDifference>& differences);
  /// Takes a line of progress that is on the screen away, for what others print.
  void EraseProgress() noexcept;

 private:
  void ShowProgress();

  TextOutput& output_;
  TextOutput& error_;
  const bool listsHashes_;
  const bool showsProgress_;
  std::uint64_t fileCount_ = 0;
  std::uint64_t byteCount_ = 0;
  std::wstring currentFile_;
  std::wstring shown_;  // the line of progress on the screen
  std::chrono::steady_clock::time_point nextProgress_;
};

}  // namespace FolderAudit
