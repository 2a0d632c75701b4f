// SPDX-License-Identifier: MIT
#include "orvel/threads/waitable_timer.h"

#include <limits>

#include "orvel/foundation/exception.h"
#include "orvel/foundation/source_context.h"
#include "orvel/foundation/system_error.h"
#include "orvel/platform/kernel_timer.h"
#include "orvel/platform/kernel_wait.h"

namespace {

using Orvel::Detail::CancelKernelTimer;
using Orvel::Detail::EventReset;
using Orvel::Detail::KernelHandle;
using Orvel::Detail::SetKernelTimer;
using Orvel::Detail::TimerTicks;

constexpr const wchar_t* kClassName = L"MWaitableTimer";

MSourceContext& ConstructionContext() {
  static MSourceContext context(kClassName, kClassName);
  return context;
}

/// Raises the error of a system call that failed. Call it right after the system call.
void RequireSuccess(bool succeeded, MSourceContext& context, std::int32_t line,
                    const void* object) {
  if (succeeded) return;
  const std::uint32_t code = Orvel::Detail::LastErrorCode();
  RaiseSystemError(context.At(line, object), L"ErrorAccessingTimer", code);
}

KernelHandle CreateTimerOrRaise(MTimerReset reset, const void* object) {
  MSourceContext& context = ConstructionContext();
  KernelHandle timer = Orvel::Detail::CreateKernelTimer(
      reset == MTimerReset::kManual ? EventReset::kManual : EventReset::kAutomatic);
  RequireSuccess(static_cast<bool>(timer), context, __LINE__, object);
  return timer;
}

/// Returns the time in ticks since 1601, as the system counts it; for a time that it cannot
/// express, the nearest one that it can.
std::int64_t ToSystemTime(std::chrono::system_clock::time_point time) {
  constexpr std::int64_t kUnixEpoch = 116'444'736'000'000'000;
  constexpr std::int64_t kLatest = (std::numeric_limits<std::int64_t>::max)() - kUnixEpoch;
  const std::int64_t ticks = std::chrono::ceil<TimerTicks>(time.time_since_epoch()).count();
  // The system would take a negative number for a delay.
  if (ticks <= -kUnixEpoch) return 0;
  return kUnixEpoch + (ticks < kLatest ? ticks : kLatest);
}

}  // namespace

MWaitableTimer::MWaitableTimer(MTimerReset reset)
    : reset_(reset), timer_(CreateTimerOrRaise(reset, this)) {
  NameFlowObject(this, kClassName);
  ConstructionContext().Record(MFlowEvent::kConstruction, this);
}

MWaitableTimer::~MWaitableTimer() {
  static const MFlowPoint point(kClassName, L"~MWaitableTimer");
  point.Record(MFlowEvent::kDestruction, this);
}

void MWaitableTimer::SetOnceTicks(TimerTicks delay) {
  static MSourceContext context(kClassName, L"SetOnce");
  const MFlowScope scope(context, this);
  RequireSuccess(SetKernelTimer(timer_.Get(), -delay.count(), 0), context, __LINE__, this);
}

void MWaitableTimer::SetPeriodicTicks(TimerTicks delay, TimerTicks period) {
  static MSourceContext context(kClassName, L"SetPeriodic");
  const MFlowScope scope(context, this);
  const std::int64_t periodMs = std::chrono::ceil<std::chrono::milliseconds>(period).count();
  if (periodMs < 1 || periodMs > (std::numeric_limits<std::int32_t>::max)()) {
    RaiseError(context.At(__LINE__, this), L"BadPeriod", L"periodMs", periodMs);
  }
  RequireSuccess(SetKernelTimer(timer_.Get(), -delay.count(), static_cast<std::uint32_t>(periodMs)),
                 context, __LINE__, this);
}

void MWaitableTimer::SetAt(std::chrono::system_clock::time_point time) {
  static MSourceContext context(kClassName, L"SetAt");
  const MFlowScope scope(context, this);
  RequireSuccess(SetKernelTimer(timer_.Get(), ToSystemTime(time), 0), context, __LINE__, this);
}

void MWaitableTimer::Cancel() {
  static MSourceContext context(kClassName, L"Cancel");
  const MFlowScope scope(context, this);
  // Cancelling a timer leaves its signal. Setting a manual-reset timer clears it, and a wait clears
  // an automatic one's.
  if (reset_ == MTimerReset::kManual) {
    const std::int64_t farOff = -Orvel::Detail::kMaxTimerDelay.count();
    RequireSuccess(SetKernelTimer(timer_.Get(), farOff, 0), context, __LINE__, this);
  }
  RequireSuccess(CancelKernelTimer(timer_.Get()), context, __LINE__, this);
  if (reset_ == MTimerReset::kAutomatic) {
    static_cast<void>(Orvel::Detail::WaitForOne(timer_.Get(), 0));
  }
}
