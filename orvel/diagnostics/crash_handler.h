// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

#include "orvel/threads/non_copyable.h"

/// Takes what an `ICrashHandler` adds to a crash report. Thread-affine: for the call of the handler
/// that it was passed to.
class MCrashReportLines {
 public:
  MCrashReportLines(const MCrashReportLines&) = delete;
  MCrashReportLines& operator=(const MCrashReportLines&) = delete;

  /// Adds a line, which is on its way to the disk when this returns. Control characters become
  /// blanks. Raises nothing and takes no memory from the heap.
  virtual void AddLine(std::wstring_view text) noexcept = 0;

 protected:
  MCrashReportLines() = default;
  ~MCrashReportLines() = default;
};

/// Adds lines of the application's to a crash report. Put into use by an
/// `MCrashHandlerRegistration`; called only while an `MCrashReporter` lives.
class ICrashHandler {
 public:
  ICrashHandler(const ICrashHandler&) = delete;
  ICrashHandler& operator=(const ICrashHandler&) = delete;

  /// The process has crashed; everything else is in the report already. Runs on the reporter's
  /// thread while the crashed thread waits, for no longer than the reporter's time limit; other
  /// threads go on. The crashed thread may hold any lock, the heap's too: read what needs none, and
  /// add each line as soon as it is there. What this raises is noted in the report, and so is a
  /// crash in it; the rest of the report is still written.
  virtual void OnCrash(MCrashReportLines& lines) = 0;

 protected:
  ICrashHandler() = default;
  ~ICrashHandler() = default;
};

/// Has a handler asked for its lines for as long as this object lives, in whatever order with
/// others.
///
/// Thread-compatible; may be built and destroyed on any thread, but not inside a handler.
class MCrashHandlerRegistration : public Orvel::Libraries::NonCopyable {
 public:
  /// The most that can be in use at a time: their places exist before a crash.
  static constexpr std::size_t kMaxHandlers = 32;

  /// The handler is borrowed for this object's life. Raises "TooManyCrashHandlers".
  explicit MCrashHandlerRegistration(ICrashHandler& handler);
  /// Takes the handler out of use and waits for a call of it: after this it neither runs nor will,
  /// unless it crashed.
  ~MCrashHandlerRegistration();

 private:
  const std::size_t place_;
};
