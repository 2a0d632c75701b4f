// SPDX-License-Identifier: MIT
#include "orvel/commands/command_processor.h"

#include <array>
#include <utility>

#include "orvel/commands/completion_pool.h"
#include "orvel/foundation/exception.h"
#include "orvel/foundation/source_context.h"
#include "orvel/logging/flow_log.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/threads/event_operations.h"
#include "orvel/threads/generic_guard.h"

namespace {

using Orvel::Detail::CreateEventOrRaise;
using Orvel::Detail::EventReset;
using Orvel::Detail::WaitOutcome;
namespace WaitStatus = Orvel::Detail::WaitStatus;

constexpr const wchar_t* kClassName = L"MCommandProcessor";
constexpr std::uint32_t kLeavePollMs = 100;
constexpr std::uint32_t kUnserved = 0x80000000;

MSourceContext& ConstructionContext() {
  static MSourceContext context(kClassName, kClassName);
  return context;
}

}  // namespace

MCommandProcessor::MCommandProcessor(std::uint64_t threadArg, std::uint64_t, std::uint64_t,
                                     std::unique_ptr<MCallbackFunctor> idleCallback)
    : MEngineThread(threadArg, kClassName),
      idleCallback_(std::move(idleCallback)),
      queue_(1),
      aborted_(CreateEventOrRaise(ConstructionContext().At(__LINE__, this), EventReset::kManual)),
      completions_(std::make_shared<Orvel::Detail::CompletionPool>(this)) {
  ConstructionContext().Record(MFlowEvent::kConstruction, this);
  AddEvent(queue_.GetEvent(), MakeCallback(this, &MCommandProcessor::OnCommandQueued));
}

MCommandProcessor::~MCommandProcessor() {
  static const MFlowPoint point(kClassName, L"~MCommandProcessor");
  point.Record(MFlowEvent::kDestruction, this);
  StopBeforeDestruction();
}

void MCommandProcessor::SetThreadStartCallback(std::unique_ptr<MCallbackFunctor> callback) {
  static MSourceContext context(kClassName, L"SetThreadStartCallback");
  RequireNoWorker(context.At(__LINE__, this));
  threadStartCallback_ = std::move(callback);
}

void MCommandProcessor::SetThreadEndCallback(std::unique_ptr<MCallbackFunctor> callback) {
  static MSourceContext context(kClassName, L"SetThreadEndCallback");
  RequireNoWorker(context.At(__LINE__, this));
  threadEndCallback_ = std::move(callback);
}

void MCommandProcessor::SetQueueGrowthStep(std::int32_t growthStep) {
  static MSourceContext context(kClassName, L"SetQueueGrowthStep");
  RequireNoWorker(context.At(__LINE__, this));
  if (growthStep < 1) RaiseError(context.At(__LINE__, this), L"BadGrowthStep");
  queue_.SetGrowthStep(growthStep);
}

void MCommandProcessor::RequireNoWorker(const MRaiseSite& site) const {
  if (GetState() != MEngineState::kInactive) RaiseError(site, L"AlreadyRunning");
}

void MCommandProcessor::QueueCommand(std::unique_ptr<MCommand> command) {
  static MSourceContext context(kClassName, L"QueueCommand");
  const MFlowScope scope(context, this);
  if (command == nullptr) RaiseError(context.At(__LINE__, this), L"NoCommand");
  queue_.Push(command.get());
  static_cast<void>(command.release());
  DeleteUnservedCommands();
}

void MCommandProcessor::ExecuteSynchronously(std::unique_ptr<MCommandSynchronous>&& command) {
  static MSourceContext context(kClassName, L"ExecuteSynchronously");
  const MFlowScope scope(context, this);
  if (command == nullptr) RaiseError(context.At(__LINE__, this), L"NoCommand");
  if (IsWorker()) RaiseError(context.At(__LINE__, this), L"CannotExecuteSelf");
  if (IsAborted()) RaiseError(context.At(__LINE__, this), L"ProcessorStopped");

  const auto completion = completions_->Lend(context.At(__LINE__, this));
  command->completion_ = completion;
  try {
    queue_.Push(command.get());
  } catch (...) {
    command->completion_.reset();
    throw;
  }
  static_cast<void>(command.release());
  DeleteUnservedCommands();

  const std::array<void*, 2> handles = {completion->GetEvent(), aborted_.Get()};
  const WaitOutcome outcome = Orvel::Detail::WaitForAny(handles, kWaitForever);
  if (outcome.status == WaitStatus::kObject0) {
    completion->MarkReset();
    return;
  }

  // A worker that was started again may just have begun to run it, with what its caller lent it.
  // Looks at times, for the case that the event cannot be signalled.
  while (!completion->TryLeave()) {
    static_cast<void>(Orvel::Detail::WaitForOne(completion->GetEvent(), kLeavePollMs));
  }
  if (outcome.status == WaitStatus::kObject0 + 1) {
    RaiseError(context.At(__LINE__, this), L"CommandProcessingAborted");
  }
  if (outcome.status - WaitStatus::kAbandoned0 < handles.size()) {
    RaiseError(context.At(__LINE__, this), L"Abandoned");
  }
  RaiseError(context.At(__LINE__, this), L"WaitFailed", L"winErrorCode", outcome.lastError);
}

bool MCommandProcessor::IsAborted() const noexcept {
  static const MFlowPoint point(kClassName, L"IsAborted");
  const MFlowScope scope(point, this);
  return isAborted_.load(std::memory_order_acquire);
}

void MCommandProcessor::ThreadFunction() {
  static const MFlowPoint point(kClassName, L"ThreadFunction");
  flowLogger().nameCurrentThread(L"Command processor thread");
  const MFlowScope scope(point, this);
  const Orvel::Libraries::GenericGuard callbacks(
      [this] {
        if (threadStartCallback_ != nullptr) threadStartCallback_->Invoke();
      },
      [this] {
        if (threadEndCallback_ != nullptr) threadEndCallback_->Invoke();
      });
  const bool wasClosed = ReopenQueue();
  try {
    SignalThreadStarted();
  } catch (const MException&) {
    // The start fails, so nobody serves a queue that was aborted before.
    if (wasClosed) Abort();
    throw;
  }
  try {
    do {
      try {
        if (!WaitForEvents(idleTimeoutMs_)) RunIdleCallback();
      } catch (const MException& exception) {
        // A stop runs what was queued before it, whatever the command raises that it came upon.
        if (!IsStopPending()) throw;
        RecordDismissed(point, this, exception);
      }
    } while (!ServeStopRequest());
  } catch (const MException&) {
    // Nobody serves the queue from here on, so nobody must be left waiting for it.
    Abort();
    throw;
  }
}

void MCommandProcessor::OnCommandQueued() {
  while (ExecuteNextCommand() && !HasPendingRequest()) {
  }
}

bool MCommandProcessor::ExecuteNextCommand() {
  MCommand* next = nullptr;
  if (!queue_.Pop(next)) return false;
  const std::unique_ptr<MCommand> command(next);
  command->Execute();
  return true;
}

void MCommandProcessor::RunIdleCallback() {
  static const MFlowPoint point(kClassName, L"RunIdleCallback");
  if (idleCallback_ == nullptr) return;
  try {
    idleCallback_->Invoke();
  } catch (const MException& exception) {
    RecordDismissed(point, this, exception);
  }
}

void MCommandProcessor::OnFlush() {
  static const MFlowPoint point(kClassName, L"OnFlush");
  const MFlowScope scope(point, this);
  while (ExecuteNextCommand()) {
  }
}

void MCommandProcessor::OnStop() {
  static const MFlowPoint point(kClassName, L"OnStop");
  const MFlowScope scope(point, this);
  try {
    OnFlush();
  } catch (const MException& exception) {
    RecordDismissed(point, this, exception);
  }
  // A command that raised ended the flush; those behind it were queued before the stop as well.
  for (bool more = true; more;) {
    try {
      more = ExecuteNextCommand();
    } catch (const MException& exception) {
      RecordDismissed(point, this, exception);
    }
  }
  Abort();
}

void MCommandProcessor::Abort() {
  static MSourceContext context(kClassName, L"Abort");
  const MFlowScope scope(context, this);
  context.Trace(this);
  unserved_.fetch_or(kUnserved, std::memory_order_acq_rel);
  isAborted_.store(true, std::memory_order_release);
  // Callers that wait have nothing else to wake them: a refusal is worth a second try.
  const bool isSignalled = Orvel::Detail::SetKernelEvent(aborted_.Get()) ||
                           Orvel::Detail::SetKernelEvent(aborted_.Get());
  const std::uint32_t code = Orvel::Detail::LastErrorCode();
  DeleteUnservedCommands();
  if (isSignalled) return;
  RaiseError(context.At(__LINE__, this), L"ErrorAccessingEvent", L"winErrorCode", code);
}

bool MCommandProcessor::ReopenQueue() {
  while ((unserved_.load(std::memory_order_acquire) & kUnserved) != 0) {
    DeleteUnservedCommands();
    std::uint32_t expected = kUnserved;
    if (unserved_.compare_exchange_strong(expected, 0, std::memory_order_acq_rel)) {
      return true;
    }
    // Another thread is between taking a command out and saying so.
    Orvel::Detail::YieldThread();
  }
  return false;
}

void MCommandProcessor::DeleteUnservedCommands() {
  for (;;) {
    std::uint32_t gate = unserved_.load(std::memory_order_acquire);
    do {
      if ((gate & kUnserved) == 0) return;
    } while (!unserved_.compare_exchange_weak(gate, gate + 1, std::memory_order_acq_rel,
                                              std::memory_order_acquire));
    MCommand* unserved = nullptr;
    const bool taken = queue_.Pop(unserved);
    unserved_.fetch_sub(1, std::memory_order_release);
    const std::unique_ptr<MCommand> deleted(unserved);
    if (!taken) return;
  }
}
