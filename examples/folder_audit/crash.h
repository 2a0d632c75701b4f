// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "orvel/diagnostics/crash_handler.h"

namespace FolderAudit {

/// Adds to a crash report which folder was being audited. Immutable, so that it needs no lock.
class CrashLines final : public ICrashHandler {
 public:
  explicit CrashLines(const std::wstring& folder) : line_(L"Folder: " + folder), use_(*this) {}
  void OnCrash(MCrashReportLines& lines) override { lines.AddLine(line_); }

 private:
  const std::wstring line_;
  const MCrashHandlerRegistration use_;  // last: from then on it may be called
};

/// Whether `kind` is one that `Crash` knows.
[[nodiscard]] bool IsCrashKind(std::wstring_view kind) noexcept;

/// Crashes on purpose, to show and test crash reports: "access", "error", "abort", "pure-call" or
/// "stack". Returns when `kind` is none of them.
void Crash(std::wstring_view kind);

}  // namespace FolderAudit
