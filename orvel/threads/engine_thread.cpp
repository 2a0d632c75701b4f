// SPDX-License-Identifier: MIT
#include "orvel/threads/engine_thread.h"

#include <array>
#include <utility>

#include "orvel/foundation/exception.h"
#include "orvel/foundation/source_context.h"
#include "orvel/foundation/system_error.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/platform/misuse.h"
#include "orvel/threads/event_operations.h"
#include "orvel/threads/generic_guard.h"
#include "orvel/threads/scoped_lock.h"
#include "orvel/threads/worker_failure.h"

namespace {

using Orvel::Detail::CreateEventOrRaise;
using Orvel::Detail::EventReset;
using Orvel::Detail::kMaxWaitHandles;
using Orvel::Detail::RaiseWaitFailure;
using Orvel::Detail::ResetEventOrRaise;
using Orvel::Detail::SetEventOrRaise;
using Orvel::Detail::WaitOutcome;
namespace WaitStatus = Orvel::Detail::WaitStatus;

constexpr const wchar_t* kClassName = L"MEngineThread";

MSourceContext& ConstructionContext() {
  static MSourceContext context(kClassName, kClassName);
  static const bool statesAreNamed = [] {
    context.NameState(static_cast<std::int32_t>(MEngineState::kInactive), L"Inactive");
    context.NameState(static_cast<std::int32_t>(MEngineState::kStarting), L"Starting");
    context.NameState(static_cast<std::int32_t>(MEngineState::kRunning), L"Running");
    context.NameState(static_cast<std::int32_t>(MEngineState::kStopping), L"Stopping");
    return true;
  }();
  static_cast<void>(statesAreNamed);
  return context;
}

/// Waits until the worker signals `event`. Raises "ThreadExitedUnexpectedly" when it ends instead,
/// and what `RaiseWaitFailure` raises.
void WaitForWorker(const MRaiseSite& site, void* event, void* thread) {
  const std::array<void*, 2> handles = {event, thread};
  const WaitOutcome outcome = Orvel::Detail::WaitForAny(handles, MEngineThread::kWaitForever);
  if (outcome.status == WaitStatus::kObject0) return;
  if (outcome.status == WaitStatus::kObject0 + 1) RaiseError(site, L"ThreadExitedUnexpectedly");
  RaiseWaitFailure(site, outcome, static_cast<std::uint32_t>(handles.size()));
}

}  // namespace

MEngineThread::MEngineThread(std::uint64_t arg, const wchar_t* objectName)
    : mutex_(MakeWinMutex()),
      restartLoop_(
          CreateEventOrRaise(ConstructionContext().At(__LINE__, this), EventReset::kAutomatic)),
      flushRequest_(
          CreateEventOrRaise(ConstructionContext().At(__LINE__, this), EventReset::kAutomatic)),
      stopRequest_(
          CreateEventOrRaise(ConstructionContext().At(__LINE__, this), EventReset::kManual)),
      threadStarted_(
          CreateEventOrRaise(ConstructionContext().At(__LINE__, this), EventReset::kAutomatic)),
      flushDone_(
          CreateEventOrRaise(ConstructionContext().At(__LINE__, this), EventReset::kAutomatic)),
      arg_(arg) {
  NameFlowObject(this, objectName);
  ConstructionContext().Record(MFlowEvent::kConstruction, this);
  // With room for all there will ever be, a handler may add events while it runs.
  waitables_.reserve(kMaxWaitHandles);
  handlers_.reserve(kMaxWaitHandles);
  AddEvent(flushRequest_.Get(), MakeCallback(this, &MEngineThread::OnFlushWrapper));
  AddEvent(stopRequest_.Get(), MakeCallback(this, &MEngineThread::OnStopWrapper));
  AddEvent(restartLoop_.Get(), MakeCallback(this, &MEngineThread::OnRestartEventLoop));
}

MEngineThread::~MEngineThread() {
  static const MFlowPoint point(kClassName, L"~MEngineThread");
  point.Record(MFlowEvent::kDestruction, this);
  if (GetState() == MEngineState::kRunning) {
    Orvel::Detail::ReportMisuse(
        L"an engine thread's class has to call StopBeforeDestruction in its own destructor, before "
        L"the worker loses what it runs");
  }
  StopBeforeDestruction();
  handlers_.clear();  // while the object is whole: what functors own may look at its state
}

void MEngineThread::OnFlush() {}

void MEngineThread::OnStop() {}

unsigned MEngineThread::ThreadEntry(void* self) {
  auto& engine = *static_cast<MEngineThread*>(self);
  engine.threadId_.store(Orvel::Detail::CurrentThreadId(), std::memory_order_release);
  try {
    engine.ThreadFunction();
    if (!engine.startIsSignalled_) {
      Orvel::Detail::ReportMisuse(
          L"a thread function has to call SignalThreadStarted before it returns, or else to raise");
    }
  } catch (const MException& exception) {
    static const MFlowPoint point(kClassName, L"ThreadEntry");
    RecordDismissed(point, &engine, exception);
    Orvel::Detail::ReportWorkerFailure(engine, exception);
  }
  return 0;
}

void MEngineThread::Start() {
  static MSourceContext context(kClassName, L"Start");
  const MFlowScope scope(context, this);
  if (IsWorker()) RaiseError(context.At(__LINE__, this), L"AlreadyRunning");
  const MScopedLock lock(mutex_, lockDepth_);
  if (GetState() != MEngineState::kInactive) {
    RaiseError(context.At(__LINE__, this), L"AlreadyRunning");
  }

  // An earlier life, or a wait that failed in it, may have left any of them signalled.
  for (const auto* event :
       {&restartLoop_, &stopRequest_, &flushRequest_, &threadStarted_, &flushDone_}) {
    ResetEventOrRaise(context.At(__LINE__, this), event->Get());
  }
  startIsSignalled_ = false;
  stopIsServed_ = false;
  stopIsRequested_.store(false, std::memory_order_release);

  // The worker may run before this thread has changed the state.
  const Orvel::Libraries::GenericGuard mark(
      [this] { startIsUnderWay_.store(true, std::memory_order_release); },
      [this] { startIsUnderWay_.store(false, std::memory_order_release); });
  auto thread = Orvel::Detail::StartThreadOrRaise(context.At(__LINE__, this), &ThreadEntry, this);
  thread_ = std::move(thread.handle);
  threadId_.store(thread.id, std::memory_order_release);
  ChangeState(MEngineState::kStarting);

  Orvel::Libraries::GenericGuard guard({}, [this] { ForceStop(); });
  WaitForWorker(context.At(__LINE__, this), threadStarted_.Get(), thread_.Get());
  guard.Dismiss();
  ChangeState(MEngineState::kRunning);
}

void MEngineThread::Flush() {
  static MSourceContext context(kClassName, L"Flush");
  const MFlowScope scope(context, this);
  if (IsWorker()) RaiseError(context.At(__LINE__, this), L"CannotFlushSelf");
  const MScopedLock lock(mutex_, lockDepth_);
  if (GetState() == MEngineState::kInactive) return;

  const std::uint32_t requested = flushesRequested_.fetch_add(1, std::memory_order_acq_rel) + 1;
  if (!Orvel::Detail::SetKernelEvent(flushRequest_.Get())) {
    const std::uint32_t code = Orvel::Detail::LastErrorCode();
    flushesBegun_.store(requested, std::memory_order_relaxed);  // nobody waits for it
    RaiseSystemError(context.At(__LINE__, this), L"ErrorAccessingEvent", code);
  }
  do {
    WaitForWorker(context.At(__LINE__, this), flushDone_.Get(), thread_.Get());
  } while (flushesServed_.load(std::memory_order_acquire) != requested);
}

void MEngineThread::Stop() { StopWorker(false); }

void MEngineThread::StopWorker(bool endsAlways) {
  static MSourceContext context(kClassName, L"Stop");
  const MFlowScope scope(context, this);
  if (IsWorker()) {
    if (IsStopRequested()) return;
    RaiseError(context.At(__LINE__, this), L"CannotStopSelf");
  }

  void* thread = nullptr;
  {
    const MScopedLock lock(mutex_, lockDepth_);
    const MEngineState state = GetState();
    if (state == MEngineState::kInactive || IsStopRequested()) return;
    ChangeState(MEngineState::kStopping);
    if (!RequestStop()) {
      const std::uint32_t code = Orvel::Detail::LastErrorCode();
      if (endsAlways) {
        EndWorker();
      } else {
        ChangeState(state);
      }
      RaiseSystemError(context.At(__LINE__, this), L"ErrorAccessingEvent", code);
    }
    // Only the stop under way closes the handle, so it is good for the wait below.
    thread = thread_.Get();
    stopIsUnderWay_ = true;
  }

  const WaitOutcome outcome = Orvel::Detail::WaitForOne(thread, kWaitForever);

  // After this lock is released the object may be gone: another thread may wait to destroy it.
  const MScopedLock lock(mutex_, lockDepth_);
  stopIsUnderWay_ = false;
  if (outcome.status == WaitStatus::kObject0) {
    BecomeInactive();
    return;
  }
  if (endsAlways) EndWorker();
  if (outcome.status == WaitStatus::kAbandoned0) {
    RaiseError(context.At(__LINE__, this), L"Abandoned");
  }
  RaiseWaitFailure(context.At(__LINE__, this), outcome, 0);
}

void MEngineThread::ForceStop() noexcept {
  static const MFlowPoint point(kClassName, L"ForceStop");
  const MFlowScope scope(point, this);
  if (!IsWorker()) {
    const MScopedLock lock(mutex_, lockDepth_);
    if (GetState() == MEngineState::kStarting) {
      // Only a start that failed gets here: it holds the lock as long as the state is "Starting".
      EndWorker();
      return;
    }
  }
  try {
    StopWorker(true);
  } catch (const MException& exception) {
    RecordDismissed(point, this, exception);
  }
}

void MEngineThread::StopBeforeDestruction() noexcept {
  ForceStop();
  const auto stopIsUnderWay = [this] {
    const MScopedLock lock(mutex_, lockDepth_);
    return stopIsUnderWay_;
  };
  {
    // The other thread can finish only after this lock is released, so the handle stays good.
    const MScopedLock lock(mutex_, lockDepth_);
    if (thread_) static_cast<void>(Orvel::Detail::WaitForOne(thread_.Get(), kWaitForever));
  }
  while (stopIsUnderWay()) Orvel::Detail::YieldThread();
}

bool MEngineThread::RequestStop() noexcept {
  stopIsComing_.store(true, std::memory_order_release);
  if (Orvel::Detail::SetKernelEvent(stopRequest_.Get())) {
    stopIsRequested_.store(true, std::memory_order_release);
    return true;
  }
  stopIsComing_.store(IsStopRequested(), std::memory_order_relaxed);
  return false;
}

void MEngineThread::EndWorker() noexcept {
  // After a wait that failed the worker may be alive and well. It must be gone before the object
  // counts as inactive, because it may then be destroyed.
  if (thread_ && RequestStop()) {
    static_cast<void>(Orvel::Detail::WaitForOne(thread_.Get(), kWaitForever));
  }
  BecomeInactive();
}

void MEngineThread::BecomeInactive() noexcept {
  ChangeState(MEngineState::kInactive);
  threadId_.store(0, std::memory_order_release);
  thread_.Close();
  // Nothing is requested of a worker that is gone.
  stopIsComing_.store(false, std::memory_order_relaxed);
  restartIsRequested_.store(false, std::memory_order_relaxed);
  flushesBegun_.store(flushesRequested_.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

bool MEngineThread::IsWorker() const noexcept {
  return threadId_.load(std::memory_order_acquire) == Orvel::Detail::CurrentThreadId();
}

void MEngineThread::AddEvent(void* handle, std::unique_ptr<MCallbackFunctor> functor) {
  AppendEvent(handle, functor);
}

void MEngineThread::AppendEvent(void* handle, std::unique_ptr<MCallbackFunctor>& functor) {
  static MSourceContext context(kClassName, L"AddEvent");
  const MFlowScope scope(context, this);
  if (handle == nullptr) RaiseError(context.At(__LINE__, this), L"NoEvent");
  if (waitables_.size() >= kMaxWaitHandles) {
    RaiseError(context.At(__LINE__, this), L"TooManyWaitableEvents");
  }
  SetEventOrRaise(context.At(__LINE__, this), restartLoop_.Get());
  if (IsWorker()) restartIsRequested_.store(true, std::memory_order_relaxed);
  waitables_.push_back(handle);
  handlers_.push_back(std::move(functor));
}

bool MEngineThread::AddEventWhileInactive(void* handle, std::unique_ptr<MCallbackFunctor> functor) {
  if (IsWorker()) return false;
  const MScopedLock lock(mutex_, lockDepth_);
  if (GetState() != MEngineState::kInactive) return false;
  AppendEvent(handle, functor);
  return true;
}

bool MEngineThread::SwapWhileInactive(std::unique_ptr<MCallbackFunctor>& kept,
                                      std::unique_ptr<MCallbackFunctor>& other) {
  // What can be refused is refused without waiting: a start callback may wait for the caller.
  if (IsWorker() || startIsUnderWay_.load(std::memory_order_acquire) ||
      GetState() != MEngineState::kInactive) {
    return false;
  }
  const MScopedLock lock(mutex_, lockDepth_);
  if (GetState() != MEngineState::kInactive) return false;
  kept.swap(other);
  return true;
}

bool MEngineThread::WaitForEvents(std::uint32_t timeoutMs) {
  static MSourceContext context(kClassName, L"WaitForEvents");
  const MFlowScope scope(context, this);
  const auto count = static_cast<std::uint32_t>(waitables_.size());
  const WaitOutcome outcome = wakesForMessages_
                                  ? Orvel::Detail::WaitForAnyOrInput(waitables_, timeoutMs)
                                  : Orvel::Detail::WaitForAny(waitables_, timeoutMs);
  if (outcome.status == WaitStatus::kTimeout) return false;
  if (outcome.status < count) {
    if (handlers_[outcome.status] != nullptr) handlers_[outcome.status]->Invoke();
    return true;
  }
  if (wakesForMessages_ && outcome.status == count) return false;
  RaiseWaitFailure(context.At(__LINE__, this), outcome, count);
}

bool MEngineThread::ServeStopRequest() {
  static MSourceContext context(kClassName, L"ServeStopRequest");
  if (stopIsServed_) return true;
  if (!IsStopRequested()) return false;

  // The request came while a handler ran. Leaving without OnStop would lose what is queued.
  const WaitOutcome flush = Orvel::Detail::WaitForOne(flushRequest_.Get(), 0);
  if (flush.status == WaitStatus::kObject0) {
    try {
      OnFlushWrapper();
    } catch (const MException& exception) {
      // The worker's end tells whoever waits for this flush that it failed.
      RecordDismissed(context, this, exception);
    }
  }
  OnStopWrapper();
  return true;
}

void MEngineThread::SignalThreadStarted() {
  static MSourceContext context(kClassName, L"SignalThreadStarted");
  const MFlowScope scope(context, this);
  context.Trace(this);
  startIsSignalled_ = true;
  SetEventOrRaise(context.At(__LINE__, this), threadStarted_.Get());
}

void MEngineThread::ChangeState(MEngineState newState) noexcept {
  static const MFlowPoint point(kClassName, L"ChangeState");
  const MFlowScope scope(point, this);
  state_.store(newState, std::memory_order_release);
  point.Record(MFlowEvent::kStateChange, this, static_cast<std::int32_t>(newState));
}

void MEngineThread::OnFlushWrapper() {
  static MSourceContext context(kClassName, L"OnFlushWrapper");
  const MFlowScope scope(context, this);
  const std::uint32_t requested = flushesRequested_.load(std::memory_order_acquire);
  flushesBegun_.store(requested, std::memory_order_relaxed);
  OnFlush();
  flushesServed_.store(requested, std::memory_order_release);
  SetEventOrRaise(context.At(__LINE__, this), flushDone_.Get());
}

void MEngineThread::OnStopWrapper() {
  static const MFlowPoint point(kClassName, L"OnStopWrapper");
  const MFlowScope scope(point, this);
  if (stopIsServed_) return;
  stopIsServed_ = true;
  // The thread that set the event may not have marked it yet.
  stopIsRequested_.store(true, std::memory_order_release);
  OnStop();
}

void MEngineThread::OnRestartEventLoop() {
  static const MFlowPoint point(kClassName, L"OnRestartEventLoop");
  const MFlowScope scope(point, this);
  restartIsRequested_.store(false, std::memory_order_relaxed);
  point.Trace(this);
}
