// SPDX-License-Identifier: MIT
#include "orvel/diagnostics/crash_reporter_state.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <span>
#include <utility>

#include "orvel/logging/flow_log.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/threads/event_operations.h"

namespace Orvel::Detail {
namespace {

constexpr std::chrono::milliseconds kMaxTimeLimit = std::chrono::hours(1);
constexpr std::uint32_t kLookMs = 1000;
constexpr std::uint32_t kMaxStartMs = 1000;

// Sequentially consistent: either the destructor sees the user or the user sees no reporter.
constinit std::atomic<CrashReporterState*> current{nullptr};
constinit std::atomic<std::uint32_t> users{0};

void OnCrash(const CrashSite& site) noexcept {
  users.fetch_add(1);
  if (CrashReporterState* const state = current.load()) state->OnCrash(site);
  users.fetch_sub(1);
}

void OnSurvived() noexcept {
  users.fetch_add(1);
  if (CrashReporterState* const state = current.load()) state->OnSurvived();
  users.fetch_sub(1);
}

}  // namespace

CrashReporterState::CrashReporterState(const MRaiseSite& site, CrashReportFolder&& folder,
                                       std::wstring programPath,
                                       const MCrashReporterOptions& options, KernelHandle&& claim)
    : folder_(std::move(folder)),
      writer_(folder_, std::move(programPath), options.writesFlowLog, options.writesMiniDump),
      timeLimit_((std::clamp)(options.timeLimit, std::chrono::milliseconds(0), kMaxTimeLimit)),
      claim_(std::move(claim)),
      hasBegun_(CreateEventOrRaise(site, EventReset::kManual)),
      quit_(CreateEventOrRaise(site, EventReset::kManual)),
      request_(CreateEventOrRaise(site, EventReset::kAutomatic)),
      firstPartDone_(CreateEventOrRaise(site, EventReset::kAutomatic)),
      done_(CreateEventOrRaise(site, EventReset::kManual)) {
  folder_.RemoveOldest();
  worker_ = StartThreadOrRaise(site, &WorkerEntry, this).handle;
  // A thread that has yet to begin cannot while a crashed one holds the loader's lock. It cannot
  // either while the caller holds that lock, so the wait has an end.
  static_cast<void>(WaitForOne(hasBegun_.Get(), kMaxStartMs));
  current.store(this);
  InstallCrashHooks({&Orvel::Detail::OnCrash, &Orvel::Detail::OnSurvived});
}

bool CrashReporterState::End() noexcept {
  RemoveCrashHooks();
  current.store(nullptr);
  while (users.load() != 0) SleepFor(1);
  if (isStuck_.load() || !SetKernelEvent(quit_.Get())) return false;
  static_cast<void>(WaitForOne(worker_.Get(), kWaitForever));
  return true;
}

unsigned CrashReporterState::WorkerEntry(void* self) {
  auto& state = *static_cast<CrashReporterState*>(self);
  state.workerId_.store(CurrentThreadId());
  flowLogger().nameCurrentThread(L"Crash reporter thread");
  static_cast<void>(SetKernelEvent(state.hasBegun_.Get()));
  return state.Work();
}

unsigned CrashReporterState::SuccessorEntry(void* self) {
  auto& state = *static_cast<CrashReporterState*>(self);
  state.workerId_.store(CurrentThreadId());
  state.RunPart();
  return state.Work();
}

/// Serves requests until the reporter is destroyed. When the thread that built the reporter, mostly
/// that of `main`, has ended without destroying it, the process lives until its last thread ends.
/// This one must not keep it alive, so from then on it checks once a second whether it is the only
/// one left. Returns the exit code of the thread, which becomes that of the process in this case.
unsigned CrashReporterState::Work() noexcept {
  const std::array<void*, 3> handles = {quit_.Get(), request_.Get(), builder_.Get()};
  bool builderLives = builder_.Get() != nullptr;
  for (;;) {
    const std::size_t count = builderLives ? 3 : 2;
    switch (
        WaitForAny(std::span(handles).first(count), builderLives ? kWaitForever : kLookMs).status) {
      case WaitStatus::kObject0 + 1:
        RunPart();
        break;
      case WaitStatus::kObject0 + 2:
        builderLives = false;
        break;
      case WaitStatus::kTimeout:
        if (!writer_.IsBusy() && IsOnlyThread()) return builder_.GetExitCode();
        break;
      default:
        return 0;
    }
  }
}

void CrashReporterState::RunPart() noexcept {
  const bool isLast = !writer_.RunPart();
  static_cast<void>(SetKernelEvent(isLast ? done_.Get() : firstPartDone_.Get()));
}

void CrashReporterState::OnCrash(const CrashSite& site) noexcept {
  const std::uint32_t threadId = CurrentThreadId();
  if (threadId == workerId_.load()) {
    if (writer_.IsBusy()) LeaveToSuccessor(site);
    return;
  }
  std::uint32_t crashedId = 0;
  if (crashedId_.compare_exchange_strong(crashedId, threadId)) {
    Report(site);
  } else if (crashedId == threadId) {
    // The same crash, passed on by the earlier handlers; or a new one, while the thread looked for
    // the exception that it was handling.
    if (std::exchange(isAskingForException_, false)) FinishReport();
  } else {
    static_cast<void>(WaitForOne(done_.Get(), static_cast<std::uint32_t>(timeLimit_.count())));
  }
}

void CrashReporterState::OnSurvived() noexcept {
  const std::uint32_t threadId = CurrentThreadId();
  if (crashedId_.load() != threadId) return;
  static_cast<void>(ResetKernelEvent(done_.Get()));
  crashedId_.store(0);
}

void CrashReporterState::Report(const CrashSite& site) noexcept {
  if (isStuck_.load()) return;
  deadline_ = Clock::now() + timeLimit_;
  writer_.Begin(site);
  static_cast<void>(SetKernelEvent(request_.Get()));
  if (!WaitFor(firstPartDone_)) return;
  if (site.HasStack()) {
    // What matters most is in the report by now: this may need memory, and the heap may be damaged.
    isAskingForException_ = true;
    writer_.SetException(std::current_exception());
    if (!std::exchange(isAskingForException_, false)) return;
  }
  FinishReport();
}

void CrashReporterState::FinishReport() noexcept {
  static_cast<void>(SetKernelEvent(request_.Get()));
  static_cast<void>(WaitFor(done_));
}

bool CrashReporterState::WaitFor(const KernelHandle& event) noexcept {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
  const auto leftMs = static_cast<std::uint32_t>((std::max)(left, decltype(left){0}));
  if (WaitForOne(event.Get(), leftMs).status == WaitStatus::kObject0) return true;
  isStuck_.store(true);
  return false;
}

void CrashReporterState::LeaveToSuccessor(const CrashSite& site) noexcept {
  isStuck_.store(true);  // this thread stays, with what it holds
  writer_.NoteCrashedStep(site);
  worker_ = StartKernelThread(&SuccessorEntry, this).handle;
  if (!worker_) {
    static_cast<void>(SetKernelEvent(firstPartDone_.Get()));
    static_cast<void>(SetKernelEvent(done_.Get()));
  }
  users.fetch_sub(1);
  for (;;) SleepFor(kWaitForever);
}

}  // namespace Orvel::Detail
