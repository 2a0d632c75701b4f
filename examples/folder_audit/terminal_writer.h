// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "folder_audit/text_output.h"
#include "orvel/commands/desync_event_scheduler.h"

namespace FolderAudit {

/// The text that replaces a line of progress of `shown` characters by `line` on a terminal of
/// `width` columns: cut so that the cursor stays in the line, and padded with blanks over the rest
/// of the old line. What a terminal that became narrower has wrapped cannot be erased.
[[nodiscard]] std::wstring FitProgress(std::wstring_view line, std::size_t shown,
                                       std::size_t width);

/// Writes to the process's outputs on a scheduler's thread, in the order of the calls, so that no
/// caller waits for a slow terminal. Text that is not written yet is kept in memory.
///
/// After a write has failed nothing more is written, and the next call raises the failure.
/// Thread-compatible: one thread at a time may print, but any thread may show progress.
class TerminalWriter {
 public:
  /// The outputs are borrowed; nothing else may use them as long as this object lives. Raises what
  /// starting a thread raises.
  TerminalWriter(TextOutput& output, TextOutput& error);
  /// Waits like `Flush`, and raises nothing.
  ~TerminalWriter();
  TerminalWriter(const TerminalWriter&) = delete;
  TerminalWriter& operator=(const TerminalWriter&) = delete;

  /// Queues `text` for the standard output. Raises what an earlier write raised, mostly
  /// "CannotWrite" ("winErrorCode").
  void Print(std::wstring text) { PostText(output_, std::move(text)); }
  /// The same for the standard error.
  void PrintError(std::wstring text) { PostText(error_, std::move(text)); }
  /// Shows a line of progress in place of the one before; it is erased when something is written.
  /// Dropped where the output is no console, and while the one before is still waiting to be
  /// shown. Raises nothing.
  void ShowProgress(std::wstring line) noexcept;
  /// True when `ShowProgress` shows anything.
  [[nodiscard]] bool ShowsProgress() const noexcept { return output_.IsConsole(); }
  /// Waits until everything is written and the line of progress is erased. Raises what a write
  /// raised.
  void Flush();

 private:
  void PostText(TextOutput& stream, std::wstring text);
  void Post(std::function<void()> write);
  void WaitUntilWritten();
  void RaiseFailure() const;
  void Paint(const std::wstring& line);
  void EraseProgress() noexcept;

  TextOutput& output_;
  TextOutput& error_;
  std::size_t shown_ = 0;       // characters of progress on the screen; scheduler's thread only
  std::exception_ptr failure_;  // set once, by the scheduler's thread, before hasFailed_
  std::atomic<bool> hasFailed_{false};         // release when set, acquire in RaiseFailure()
  std::atomic<bool> progressIsQueued_{false};  // relaxed: orders nothing
  MDesyncEventScheduler scheduler_;            // its events use the others, so it ends first
};

}  // namespace FolderAudit
