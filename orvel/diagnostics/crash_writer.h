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

/// Writes the files of one report, step by step in two parts. Each step runs once, so that a thread
/// that crashes in one can have another go on with the next.
///
/// One thread at a time: the crashed thread hands over what it knows while the reporter's waits for
/// it, and the other way round.
class CrashWriter {
 public:
  CrashWriter(const CrashReportFolder& folder, std::wstring programPath, bool writesFlowLog,
              bool writesMiniDump);

  /// Begins a report of the calling thread's crash.
  void Begin(const CrashSite& site) noexcept;
  /// Adds what the crashed thread was handling. Between the two parts; may be left out.
  void SetException(std::exception_ptr exception) noexcept;

  /// Runs the steps that are left of the present part. False when there are no more parts.
  bool RunPart() noexcept;
  /// Notes that the step which is running crashed.
  void NoteCrashedStep(const CrashSite& site) noexcept;
  /// True from `Begin` to the end of the last part.
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
  /// Ends the line on one of the other files with what became of it.
  void EndFileLine(const CrashPath& path, std::uint32_t code) noexcept;

  const CrashReportFolder& folder_;
  const std::wstring programPath_;
  const bool writesFlowLog_;
  const bool writesMiniDump_;
  const MiniDumpWriter miniDumpWriter_;

  std::atomic<bool> isBusy_{false};
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
