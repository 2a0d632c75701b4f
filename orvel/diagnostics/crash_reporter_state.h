// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "orvel/diagnostics/crash_report_folder.h"
#include "orvel/diagnostics/crash_reporter.h"
#include "orvel/diagnostics/crash_writer.h"
#include "orvel/foundation/source_context.h"
#include "orvel/platform/crash_hooks.h"
#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/process_threads.h"

namespace Orvel::Detail {

/// A module's reporter: the thread that writes the report, and the events through which crashed
/// threads and this one wait for each other.
class CrashReporterState {
 public:
  /// Starts the thread and installs the hooks. `claim` is what `ClaimCrashes` returned. Raises
  /// "ErrorAccessingEvent" and "BeginThread" at `site`, and `std::bad_alloc`.
  CrashReporterState(const MRaiseSite& site, CrashReportFolder&& folder, std::wstring programPath,
                     const MCrashReporterOptions& options, KernelHandle&& claim);

  /// Called on the crashed thread, whichever that is.
  void OnCrash(const CrashSite& site) noexcept;
  void OnSurvived() noexcept;
  /// Ends the reporter's thread. Returns false when that is stuck in a report: this object must
  /// then not be destroyed.
  [[nodiscard]] bool End() noexcept;

 private:
  using Clock = std::chrono::steady_clock;

  static unsigned WorkerEntry(void* self);
  static unsigned SuccessorEntry(void* self);
  unsigned Work() noexcept;
  void RunPart() noexcept;

  void Report(const CrashSite& site) noexcept;
  void FinishReport() noexcept;
  [[noreturn]] void LeaveToSuccessor(const CrashSite& site) noexcept;
  [[nodiscard]] bool WaitFor(const KernelHandle& event) noexcept;

  const CrashReportFolder folder_;
  CrashWriter writer_;
  const std::chrono::milliseconds timeLimit_;
  const KernelHandle claim_;
  const KernelHandle hasBegun_;
  const KernelHandle quit_;
  const KernelHandle request_;
  const KernelHandle firstPartDone_;
  const KernelHandle done_;  // stays set until the crash is over
  const ObservedThread builder_;
  KernelHandle worker_;
  // Sequentially consistent: nothing here is worth a weaker order.
  std::atomic<std::uint32_t> workerId_{0};
  std::atomic<std::uint32_t> crashedId_{0};  // the thread whose report it is; 0 when there is none
  std::atomic<bool> isStuck_{false};  // a report took longer than its limit, or its thread crashed
  // Used by the crashed thread only.
  Clock::time_point deadline_;
  bool isAskingForException_ = false;
};

}  // namespace Orvel::Detail
