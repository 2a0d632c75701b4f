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

/// What an `MCrashReporter` writes, and where.
struct MCrashReporterOptions {
  std::wstring folder{};       ///< is created when it is missing; relative to the current folder
  std::wstring programName{};  ///< first part of the files' names; empty: the name of the .exe
  bool writesFlowLog = true;   ///< also the file that ends in ".flow.log"
  bool writesMiniDump = true;  ///< also the file that ends in ".dmp"
  /// Reports of this program that stay in the folder, the newest ones; 0: all.
  std::size_t reportsKept = 10;
  /// A crashed thread waits for its report no longer than this; an hour at most.
  std::chrono::milliseconds timeLimit{30'000};
};

/// For as long as this object lives, a crash of the process leaves a report: on an unhandled
/// structured exception, `std::terminate`, `abort`, a pure virtual call or an invalid parameter of
/// a C runtime function the files "NAME-DATE-TIME-PROCESS.txt", ".flow.log" and ".dmp" are written
/// (date and time of Greenwich). Then the handlers that were there before are called, and the
/// process ends as it would have without this object. Build it first in `main`.
///
/// A thread of this object's own writes the report, while the crashed thread waits. A thread that
/// crashes meanwhile waits for the first report and has none of its own; a crash in the report is
/// noted in it. Costs nothing until then but that thread.
///
/// Thread-compatible. Construction and destruction are not to run while another thread changes the
/// process's crash handlers.
class MCrashReporter : public Orvel::Libraries::NonCopyable {
 public:
  /// Installs the handlers. Where another module of the process reports already, this object does
  /// nothing; see `IsReporting`. Raises "AlreadyReporting" while this module has another one,
  /// "BadName" ("name") when the name is no part of a file's name, "BadFolder" ("folder") when
  /// there is none, "NameTooLong" ("length", "limit") when folder and name have more than 200
  /// characters, "CannotCreateFolder" ("winErrorCode", "folder"), "CannotMarkProcess"
  /// ("winErrorCode"), "ErrorAccessingEvent" ("winErrorCode"), "BeginThread" ("errno") or
  /// `std::bad_alloc`; nothing is installed then.
  explicit MCrashReporter(const MCrashReporterOptions& options);
  /// Waits for a report that is being written, and puts the handlers back that were there before:
  /// all but those that somebody else has replaced since, which go on to them. Not to run under the
  /// loader's lock, as a static object's of a DLL does.
  ~MCrashReporter();

  /// Sets so much of the calling thread's stack aside that a crash for lack of stack can be
  /// reported; the thread that builds the reporter has it. For threads of the program that recurse
  /// deeply. False when the system refuses.
  static bool ReserveStack() noexcept;

  /// False when another module's reporter was there first: that one writes the report.
  [[nodiscard]] bool IsReporting() const noexcept { return state_ != nullptr; }

 private:
  std::unique_ptr<Orvel::Detail::CrashReporterState> state_;
};
