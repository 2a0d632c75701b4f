// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "orvel/threads/non_copyable.h"

namespace Orvel::Detail {
class CrashReporterState;
}  // namespace Orvel::Detail

/// What an `MCrashReporter` writes, and where. A value; thread-compatible.
struct MCrashReporterOptions {
  std::wstring folder{};       ///< created when missing; may be relative to the current folder
  std::wstring programName{};  ///< the first part of the files' names; empty: the name of the .exe
  bool writesFlowLog = true;   ///< also the file that ends in ".flow.log"
  bool writesMiniDump = true;  ///< also the file that ends in ".dmp"
  /// The number of reports of this program that are kept, the newest ones; 0: all.
  std::size_t reportsKept = 10;
  /// The longest that a crashed thread waits for its report; at most an hour.
  std::chrono::milliseconds timeLimit{30'000};
};

/// Writes a report when the process crashes, for as long as this object exists. A crash is an
/// unhandled structured exception, `std::terminate`, `abort`, a pure virtual call or an invalid
/// parameter of a C runtime function. A report consists of the files "NAME-DATE-TIME-PROCESS.txt",
/// ".flow.log" and ".dmp"; date and time are in UTC. When it is written, the handlers that were
/// installed before are called, and the process ends as it would have without this object. Build it
/// first in `main`.
///
/// A thread of its own writes the report while the crashed thread waits; until a crash that thread
/// is all that this object costs. A second thread that crashes meanwhile waits for the first report
/// and gets none of its own. A crash inside the report is noted in it.
///
/// Thread-compatible. Must not be built or destroyed while another thread changes the process's
/// crash handlers. Where the thread that built it ends without destroying it, crashes of other
/// threads are still reported, and the process ends within about a second of its last other thread.
class MCrashReporter : public Orvel::Libraries::NonCopyable {
 public:
  /// Installs the handlers. If another module of the process has a reporter already, this object
  /// does nothing; see `IsReporting`. Raises, with nothing installed, "AlreadyReporting" while this
  /// module has another reporter, "BadName" ("name") when the name cannot be part of a file's name,
  /// "BadFolder" ("folder") when the folder is empty or not a path, "NameTooLong" ("length",
  /// "limit") when folder and name together have more than 200 characters, "CannotCreateFolder"
  /// ("winErrorCode", "folder"), "CannotMarkProcess" ("winErrorCode"), "ErrorAccessingEvent"
  /// ("winErrorCode"), "BeginThread" ("errno") and `std::bad_alloc`.
  explicit MCrashReporter(const MCrashReporterOptions& options);
  /// Waits for a report that is being written and restores the handlers that were installed before.
  /// A handler that was installed since stays; when it calls the one before it, the call goes on to
  /// the earlier handler. Must not run under the loader's lock, as the destructors of a DLL's
  /// static objects do.
  ~MCrashReporter();

  /// Reserves enough of the calling thread's stack to report a stack overflow on it. The
  /// constructor does so for its own thread; call it on other threads that recurse deeply. Returns
  /// false when the system refuses.
  static bool ReserveStack() noexcept;

  /// Returns false when another module's reporter was there first: that one writes the reports. Any
  /// thread.
  [[nodiscard]] bool IsReporting() const noexcept { return state_ != nullptr; }

 private:
  std::unique_ptr<Orvel::Detail::CrashReporterState> state_;
};
