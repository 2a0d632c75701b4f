// SPDX-License-Identifier: MIT
#include "orvel/commands/desync_event_scheduler.h"

#include <utility>

#include "orvel/foundation/exception.h"
#include "orvel/foundation/source_context.h"
#include "orvel/threads/generic_guard.h"

namespace {

constexpr const wchar_t* kClassName = L"MDesyncEventScheduler";

}  // namespace

MDesyncEventScheduler::MDesyncEventScheduler(std::uint64_t arg) : thread_(arg, *this), queue_(1) {
  static const MFlowPoint point(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  point.Record(MFlowEvent::kConstruction, this);
  thread_.RegisterSchedulerEvent(queue_.GetEvent(),
                                 MakeCallback(this, &MDesyncEventScheduler::OnSchedulerEvent));
}

MDesyncEventScheduler::~MDesyncEventScheduler() {
  static const MFlowPoint point(kClassName, L"~MDesyncEventScheduler");
  const MFlowScope scope(point, this);
  point.Record(MFlowEvent::kDestruction, this);
  StopBeforeDestruction();
}

void MDesyncEventScheduler::StopBeforeDestruction() noexcept {
  static const MFlowPoint point(kClassName, L"~MDesyncEventScheduler");
  try {
    Disable();
  } catch (const MException& exception) {
    RecordDismissed(point, this, exception);
  }
  // The thread must be at rest before the queue that it waits on goes away.
  thread_.StopBeforeDestruction();
}

void MDesyncEventScheduler::Enable() {
  static const MFlowPoint point(kClassName, L"Enable");
  const MFlowScope scope(point, this);
  thread_.Start();
}

void MDesyncEventScheduler::Disable() {
  static const MFlowPoint point(kClassName, L"Disable");
  const MFlowScope scope(point, this);
  try {
    thread_.Flush();
  } catch (const MException&) {
    try {
      thread_.Stop();
    } catch (const MException& exception) {
      // The flush's own failure came first and goes to the caller.
      RecordDismissed(point, this, exception);
    }
    throw;
  }
  thread_.Stop();
}

void MDesyncEventScheduler::SetQueueGrowthStep(std::int32_t growthStep) {
  static MSourceContext context(kClassName, L"SetQueueGrowthStep");
  if (thread_.GetState() != MEngineState::kInactive) {
    RaiseError(context.At(__LINE__, this), L"ThreadRunning");
  }
  if (growthStep < 1) RaiseError(context.At(__LINE__, this), L"BadGrowthStep");
  queue_.SetGrowthStep(growthStep);
}

void MDesyncEventScheduler::Flush() {
  static MSourceContext context(kClassName, L"Flush");
  const MFlowScope scope(context, this);
  const Orvel::Libraries::GenericGuard requesting([this] { ++flushers_; }, [this] { --flushers_; });
  const std::uint64_t before = flushesBegun_.load(std::memory_order_acquire);
  thread_.Flush();
  // Without a thread nothing was flushed; a flush that began before may have left out the last
  // event.
  if (flushesDone_.load(std::memory_order_acquire) > before) return;
  if (queue_.GetSize() != 0) RaiseError(context.At(__LINE__, this), L"SchedulerDisabled");
}

void MDesyncEventScheduler::RunWhatIsFlushed() {
  if (flushers_ == 0) return;
  const std::uint64_t flush = flushesBegun_.fetch_add(1, std::memory_order_acq_rel) + 1;
  const std::uint64_t end = taken_ + static_cast<std::uint64_t>(queue_.GetSize());
  // Ends as well when an override takes none.
  for (bool takes = true; takes && taken_ < end;) {
    const std::uint64_t before = taken_;
    OnSchedulerEvent();
    takes = taken_ != before;
  }
  flushesDone_.store(flush, std::memory_order_release);
}

void MDesyncEventScheduler::ScheduleDesyncEvent(std::unique_ptr<MDesyncEvent> event) {
  static MSourceContext context(kClassName, L"ScheduleDesyncEvent");
  const MFlowScope scope(context, this);
  context.Trace(this);
  if (event == nullptr) RaiseError(context.At(__LINE__, this), L"NoEvent");
  queue_.Push(event.get());
  static_cast<void>(event.release());
}

void MDesyncEventScheduler::OnSchedulerEvent() {
  static const MFlowPoint point(kClassName, L"OnSchedulerEvent");
  const MFlowScope scope(point, this);
  MDesyncEvent* next = nullptr;
  // Pop is called at least once: a queue that woke the thread without having an event then resets
  // its signal.
  std::int32_t left = queue_.GetSize();
  do {
    if (!queue_.Pop(next)) return;
    ++taken_;
    // The linter takes two events of the queue for one.
    const std::unique_ptr<MDesyncEvent> event(next);  // NOLINT(clang-analyzer-cplusplus.NewDelete)
    try {
      event->Execute();
    } catch (const MException& exception) {
      RecordDismissed(point, this, exception);
    }
  } while (--left > 0 && !thread_.HasPendingRequest());
}
