// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "orvel/threads/non_copyable.h"

/// Receives the lines that an `ICrashHandler` adds to a crash report. Thread-affine: may be used
/// only during the call of the handler that it was passed to, on that thread.
class MCrashReportLines {
 public:
  MCrashReportLines(const MCrashReportLines&) = delete;
  MCrashReportLines& operator=(const MCrashReportLines&) = delete;

  /// Adds a line and hands it to the system before it returns. Control characters become blanks.
  /// Uses no memory of the heap.
  virtual void AddLine(std::wstring_view text) noexcept = 0;

 protected:
  MCrashReportLines() = default;
  ~MCrashReportLines() = default;
};

/// Adds lines of the application to a crash report. It is called while an
/// `MCrashHandlerRegistration` for it and an `MCrashReporter` exist.
///
/// An implementation must be thread-safe: the call comes on the reporter's thread, while other
/// threads may still run.
class ICrashHandler {
 public:
  ICrashHandler(const ICrashHandler&) = delete;
  ICrashHandler& operator=(const ICrashHandler&) = delete;

  /// Called when the process has crashed and the rest of the report is written. Runs on the
  /// reporter's thread while the crashed thread waits, for no longer than the reporter's time
  /// limit; other threads go on. The crashed thread may hold any lock, even that of the heap: read
  /// only what needs no lock, and add each line as soon as it is complete. An exception that this
  /// raises and a crash in it are noted in the report, which is then continued.
  virtual void OnCrash(MCrashReportLines& lines) = 0;

 protected:
  ICrashHandler() = default;
  ~ICrashHandler() = default;
};

/// Puts a handler into use for as long as this object exists. Several handlers are called in no
/// particular order.
///
/// Thread-compatible; may be built and destroyed on any thread, but not inside a handler.
class MCrashHandlerRegistration : public Orvel::Libraries::NonCopyable {
 public:
  /// The largest number of handlers in use at a time.
  static constexpr std::size_t kMaxHandlers = 32;

  /// Borrows the handler for this object's life. Raises "TooManyCrashHandlers".
  explicit MCrashHandlerRegistration(ICrashHandler& handler);
  /// Takes the handler out of use and waits for a call of it that is under way. The handler is not
  /// called after this. A call that has itself crashed is not waited for.
  ~MCrashHandlerRegistration();

 private:
  const std::size_t place_;
};
