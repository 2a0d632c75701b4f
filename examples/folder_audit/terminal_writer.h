// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "folder_audit/text_output.h"
#include "orvel/commands/desync_event_scheduler.h"

namespace FolderAudit {

/// What shows `line` in place of a line of progress of `shown` characters, on a terminal of `width`
/// columns: cut so that the cursor stays in the line, and with blanks over what is left of the one
/// before. When the terminal has become narrower, what it wrapped of that one is out of reach.
[[nodiscard]] std::wstring FitProgress(std::wstring_view line, std::size_t shown,
                                       std::size_t width);

/// Writes to the process's outputs on the thread of a scheduler, in the order in which it was told
/// to, so that whoever has something to tell never waits for a slow terminal. What was told and is
/// not written yet is kept in memory.
///
/// After the first write that fails nothing more is written; the failure reaches the teller with
/// the next call. Thread-compatible: one thread at a time may tell, but any may show progress.
class TerminalWriter {
 public:
  /// The outputs are borrowed, and nobody else may use them meanwhile. Raises what the start of a
  /// thread raises.
  TerminalWriter(TextOutput& output, TextOutput& error);
  /// Waits like `Flush`, and raises nothing.
  ~TerminalWriter();
  TerminalWriter(const TerminalWriter&) = delete;
  TerminalWriter& operator=(const TerminalWriter&) = delete;

  /// Has `text` written to the standard output. Raises what an earlier write raised, mostly
  /// "CannotWrite" ("winErrorCode").
  void Print(std::wstring text) { PostText(output_, std::move(text)); }
  /// The same for the standard error.
  void PrintError(std::wstring text) { PostText(error_, std::move(text)); }
  /// Has a line of progress shown in place of the one before, and taken away when something is
  /// written. It may get lost: always where the output is no console, and when the one before is
  /// still to be shown. Raises nothing.
  void ShowProgress(std::wstring line) noexcept;
  /// True when lines of progress are worth their making.
  [[nodiscard]] bool ShowsProgress() const noexcept { return output_.IsConsole(); }
  /// Waits until everything is written and the line of progress taken away. Raises what a write
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
  std::mutex mutex_;
  std::condition_variable written_;  // when isWritten_ becomes true
  bool isWritten_ = false;           // under mutex_: the last event of a wait has run
  MDesyncEventScheduler scheduler_;  // its events use the others, so it ends first
};

}  // namespace FolderAudit
