// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <exception>
#include <ostream>
#include <string>

#include "orvel/diagnostics/crash_file.h"
#include "orvel/diagnostics/crash_handler.h"
#include "orvel/diagnostics/crash_report_folder.h"
#include "orvel/platform/crash_hooks.h"
#include "orvel/platform/mini_dump.h"

namespace Orvel::Detail {

/// Writes the files of one report, in two parts of several steps. Each step runs at most once, so
/// when the writing thread crashes in one, another thread can go on with the next.
///
/// Thread-compatible: crashed thread and reporter's thread use it in turn, each while the other
/// waits.
class CrashWriter {
 public:
  CrashWriter(const CrashReportFolder& folder, std::wstring programPath, bool writesFlowLog,
              bool writesMiniDump);

  /// Begins the report of the calling thread's crash.
  void Begin(const CrashSite& site) noexcept;
  /// Sets the exception that the crashed thread was handling. Call it between the two parts, or not
  /// at all.
  void SetException(std::exception_ptr exception) noexcept;

  /// Runs the remaining steps of the present part. Returns false when that was the last part.
  bool RunPart() noexcept;
  /// Notes in the report that the present step has crashed.
  void NoteCrashedStep(const CrashSite& site) noexcept;
  /// Returns true from `Begin` to the end of the last part.
  [[nodiscard]] bool IsBusy() const noexcept { return isBusy_.load(std::memory_order_acquire); }

 private:
  class Lines;

  void RunStep(std::uint32_t step) noexcept;
  void WriteWhat() noexcept;
  void WriteWhere() noexcept;
  void WriteThread() noexcept;
  void WriteMiniDump() noexcept;
  void WriteFlowLog() noexcept;
  void WriteException() noexcept;
  void CallHandler(std::size_t place) noexcept;
  void WriteEnd() noexcept;

  void WriteCode(const EXCEPTION_RECORD& record) noexcept;
  void WritePlace(std::uint64_t address) noexcept;
  void WriteChain(const std::wstring& description) noexcept;
  /// Ends the line about one of the other files with its name or the error.
  void EndFileLine(const CrashPath& path, std::uint32_t code) noexcept;

  const CrashReportFolder& folder_;
  const std::wstring programPath_;
  const bool writesFlowLog_;
  const bool writesMiniDump_;
  const MiniDumpWriter miniDumpWriter_;

  std::atomic<bool> isBusy_{false};  // written with release, read with acquire
  // Acquire-release, so that a successor sees what the steps before its own have stored.
  std::atomic<std::uint32_t> nextStep_{0};
  CrashKind kind_{};
  std::uint32_t threadId_ = 0;
  EXCEPTION_RECORD record_{};  // copies: the thread that crashed may not wait to the end
  CONTEXT context_{};
  bool hasStack_ = false;
  bool hasHandlerLines_ = false;
  std::exception_ptr exception_;
  CrashPath stem_{};
  CrashFile text_;
  CrashFile flowLog_;
  std::ostream flowLogStream_{&flowLog_};
};

}  // namespace Orvel::Detail
