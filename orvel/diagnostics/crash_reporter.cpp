// SPDX-License-Identifier: MIT
#include "orvel/diagnostics/crash_reporter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <exception>
#include <span>
#include <string_view>
#include <utility>

#include "orvel/diagnostics/crash_report_folder.h"
#include "orvel/diagnostics/crash_writer.h"
#include "orvel/foundation/exception.h"
#include "orvel/foundation/system_error.h"
#include "orvel/logging/flow_log.h"
#include "orvel/platform/crash_hooks.h"
#include "orvel/platform/crash_stack.h"
#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/platform/process_threads.h"
#include "orvel/platform/system_paths.h"
#include "orvel/threads/event_operations.h"

namespace Orvel::Detail {

/// A module's reporter: the thread that writes the report, and the events through which crashed
/// threads and this one wait for each other.
class CrashReporterState {
 public:
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

namespace {

constexpr std::chrono::milliseconds kMaxTimeLimit = std::chrono::hours(1);
constexpr std::uint32_t kLookMs = 1000;
constexpr std::uint32_t kMaxStartMs = 1000;

// Sequentially consistent: either the destructor sees the user or the user sees no reporter.
constinit std::atomic<CrashReporterState*> current{nullptr};
constinit std::atomic<std::uint32_t> users{0};
constinit std::atomic<bool> moduleHasReporter{false};

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

namespace {

using Orvel::Detail::CrashReportFolder;
using Orvel::Detail::KernelHandle;

constexpr const wchar_t* kClassName = L"MCrashReporter";

/// Returns the name of a file without its path and extension.
std::wstring StemOf(const std::wstring& path) {
  const std::size_t start = path.find_last_of(L"\\/") + 1;
  return path.substr(start, path.rfind(L'.') - start);
}

/// Returns the full path of a folder, without a separator at its end.
std::wstring FolderPath(const std::wstring& folder) {
  std::wstring path = Orvel::Detail::FullPath(folder);
  while (!path.empty() && path.back() == L'\\') path.pop_back();
  return path;
}

std::unique_ptr<Orvel::Detail::CrashReporterState> BuildState(
    MSourceContext& context, const void* object, const MCrashReporterOptions& options) {
  std::wstring programPath = Orvel::Detail::ProgramPath();
  const std::wstring name = options.programName.empty() ? StemOf(programPath) : options.programName;
  const bool hasControl = std::any_of(name.begin(), name.end(), [](wchar_t c) { return c < L' '; });
  if (name.empty() || hasControl || name.find_first_of(L"\\/:*?\"<>|") != std::wstring::npos) {
    RaiseError(context.At(__LINE__, object), L"BadName", L"name", name);
  }
  const std::wstring folderPath = FolderPath(options.folder);
  if (options.folder.empty() || folderPath.empty()) {
    RaiseError(context.At(__LINE__, object), L"BadFolder", L"folder", options.folder);
  }
  const std::size_t length = folderPath.size() + name.size();
  if (length > CrashReportFolder::kMaxLength) {
    MError error(context.At(__LINE__, object), L"NameTooLong");
    error.AddParameter(L"length", length);
    error.AddParameter(L"limit", CrashReportFolder::kMaxLength);
    throw MException(error);
  }
  CrashReportFolder folder(folderPath, name, options.reportsKept);
  if (const std::uint32_t code = folder.Create()) {
    MError error(context.At(__LINE__, object), L"CannotCreateFolder");
    error.AddParameter(L"winErrorCode", code);
    error.AddParameter(L"folder", folderPath);
    throw MException(error);
  }
  std::uint32_t code = 0;
  KernelHandle claim = Orvel::Detail::ClaimCrashes(code);
  if (code != 0) RaiseSystemError(context.At(__LINE__, object), L"CannotMarkProcess", code);
  if (!claim) return nullptr;
  return std::make_unique<Orvel::Detail::CrashReporterState>(
      context.At(__LINE__, object), std::move(folder), std::move(programPath), options,
      std::move(claim));
}

}  // namespace

MCrashReporter::MCrashReporter(const MCrashReporterOptions& options) {
  static MSourceContext context(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  context.Record(MFlowEvent::kConstruction, this);
  if (Orvel::Detail::moduleHasReporter.exchange(true)) {
    RaiseError(context.At(__LINE__, this), L"AlreadyReporting");
  }
  try {
    state_ = BuildState(context, this, options);
    ReserveStack();  // without it a crash of another kind is reported all the same
  } catch (...) {
    Orvel::Detail::moduleHasReporter.store(false);
    throw;
  }
}

MCrashReporter::~MCrashReporter() {
  static const MFlowPoint point(kClassName, L"~MCrashReporter");
  point.Record(MFlowEvent::kDestruction, this);
  // A thread that is stuck in a report still uses it.
  if (state_ != nullptr && !state_->End()) static_cast<void>(state_.release());
  Orvel::Detail::moduleHasReporter.store(false);
}

bool MCrashReporter::ReserveStack() noexcept { return Orvel::Detail::ReserveStack(32 * 1024); }
