// SPDX-License-Identifier: MIT
#include "orvel/commands/command_processor.h"

#include <utility>

#include "orvel/commands/completion_pool.h"
#include "orvel/foundation/exception.h"
#include "orvel/foundation/source_context.h"
#include "orvel/foundation/system_error.h"
#include "orvel/logging/flow_log.h"
#include "orvel/threads/generic_guard.h"

namespace {

using Orvel::Detail::WaitOutcome;
namespace WaitStatus = Orvel::Detail::WaitStatus;

constexpr const wchar_t* kClassName = L"MCommandProcessor";

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
      abort_(queue_, ConstructionContext().At(__LINE__, this)),
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
  // What was set before is destroyed with the parameter, after the lock.
  if (!SwapWhileInactive(threadStartCallback_, callback)) {
    RaiseError(context.At(__LINE__, this), L"AlreadyRunning");
  }
}

void MCommandProcessor::SetThreadEndCallback(std::unique_ptr<MCallbackFunctor> callback) {
  static MSourceContext context(kClassName, L"SetThreadEndCallback");
  // What was set before is destroyed with the parameter, after the lock.
  if (!SwapWhileInactive(threadEndCallback_, callback)) {
    RaiseError(context.At(__LINE__, this), L"AlreadyRunning");
  }
}

void MCommandProcessor::SetQueueGrowthStep(std::int32_t growthStep) {
  static MSourceContext context(kClassName, L"SetQueueGrowthStep");
  if (IsWorker() || GetState() != MEngineState::kInactive) {
    RaiseError(context.At(__LINE__, this), L"AlreadyRunning");
  }
  if (growthStep < 1) RaiseError(context.At(__LINE__, this), L"BadGrowthStep");
  queue_.SetGrowthStep(growthStep);
}

void MCommandProcessor::QueueCommand(std::unique_ptr<MCommand> command) {
  static MSourceContext context(kClassName, L"QueueCommand");
  const MFlowScope scope(context, this);
  if (command == nullptr) RaiseError(context.At(__LINE__, this), L"NoCommand");
  queue_.Push(command.get());
  static_cast<void>(command.release());
  abort_.DeleteUnservedCommands();
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
  abort_.DeleteUnservedCommands();

  const WaitOutcome outcome = abort_.WaitForRun(*completion);
  if (outcome.status == WaitStatus::kObject0) return;
  if (outcome.status == WaitStatus::kObject0 + 1) {
    RaiseError(context.At(__LINE__, this), L"CommandProcessingAborted");
  }
  if (outcome.status - WaitStatus::kAbandoned0 < Orvel::Detail::AbortProtocol::kWaitHandles) {
    RaiseError(context.At(__LINE__, this), L"Abandoned");
  }
  RaiseSystemError(context.At(__LINE__, this), L"WaitFailed", outcome.lastError);
}

bool MCommandProcessor::IsAborted() const noexcept {
  static const MFlowPoint point(kClassName, L"IsAborted");
  const MFlowScope scope(point, this);
  return abort_.IsAborted();
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
  const bool wasClosed = abort_.ReopenQueue();
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
        // A stop runs what was queued before it, even when the command that ran meanwhile raises.
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
  abort_.Abort(context.At(__LINE__, this));
}
