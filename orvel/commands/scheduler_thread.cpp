// SPDX-License-Identifier: MIT
#include "orvel/commands/scheduler_thread.h"

#include <utility>

#include "orvel/foundation/exception.h"
#include "orvel/foundation/source_context.h"
#include "orvel/logging/flow_log.h"
#include "orvel/platform/com_apartment.h"
#include "orvel/threads/generic_guard.h"

namespace {

constexpr const wchar_t* kClassName = L"MSchedulerThread";

}  // namespace

MSchedulerThread::MSchedulerThread(std::uint64_t arg) : MEngineThread(arg, kClassName) {
  static const MFlowPoint point(kClassName, kClassName);
  point.Record(MFlowEvent::kConstruction, this);
}

MSchedulerThread::~MSchedulerThread() {
  static const MFlowPoint point(kClassName, L"~MSchedulerThread");
  point.Record(MFlowEvent::kDestruction, this);
  StopBeforeDestruction();
}

void MSchedulerThread::RegisterSchedulerEvent(void* handle,
                                              std::unique_ptr<MCallbackFunctor> functor) {
  static MSourceContext context(kClassName, L"RegisterSchedulerEvent");
  const MFlowScope scope(context, this);
  if (!AddEventWhileInactive(handle, std::move(functor))) {
    RaiseError(context.At(__LINE__, this), L"ThreadRunning");
  }
}

void MSchedulerThread::ThreadFunction() {
  static const MFlowPoint point(kClassName, L"ThreadFunction");
  flowLogger().nameCurrentThread(L"Scheduler thread");
  const MFlowScope scope(point, this);
  const Orvel::Libraries::GenericGuard apartment(
      [] { Orvel::Detail::EnterMultithreadedApartment(); },
      [] { Orvel::Detail::LeaveApartment(); });
  SignalThreadStarted();
  do {
    WaitForEvents(kWaitForever);
  } while (!ServeStopRequest());
}
