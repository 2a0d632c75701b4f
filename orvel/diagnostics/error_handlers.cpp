// SPDX-License-Identifier: MIT
#include "orvel/diagnostics/handler_list.h"
#include "orvel/diagnostics/spontaneous_error_handler.h"
#include "orvel/diagnostics/thread_error_handler.h"
#include "orvel/foundation/dismissed_error.h"
#include "orvel/threads/worker_failure.h"

namespace {

using ThreadErrorHandlers = Orvel::Detail::HandlerList<IThreadErrorHandler>;
using SpontaneousErrorHandlers = Orvel::Detail::HandlerList<ISpontaneousErrorHandler>;

ThreadErrorHandlers& TheThreadErrorHandlers();
SpontaneousErrorHandlers& TheSpontaneousErrorHandlers();

void OnWorkerFailure(MEngineThread& engine, const MException& error) noexcept {
  static const MFlowPoint point(L"IThreadErrorHandler", L"OnThreadError");
  TheThreadErrorHandlers().CallEach(
      &engine, point, [&](IThreadErrorHandler& handler) { handler.OnThreadError(engine, error); });
}

void OnDismissedError(const MFlowPoint& point, const void* object,
                      const MException& error) noexcept {
  static const MFlowPoint handlerPoint(L"ISpontaneousErrorHandler", L"OnSpontaneousError");
  SpontaneousErrorHandlers& handlers = TheSpontaneousErrorHandlers();
  if (handlers.IsCalling()) return;  // otherwise a handler's own errors would call it without end
  handlers.CallEach(object, handlerPoint, [&](ISpontaneousErrorHandler& handler) {
    handler.OnSpontaneousError(point, object, error);
  });
}

// Neither list is ever destroyed: workers of global objects may fail while the process ends.

ThreadErrorHandlers& TheThreadErrorHandlers() {
  static ThreadErrorHandlers* const handlers = [] {
    auto* const list = new ThreadErrorHandlers;
    Orvel::Detail::SetWorkerFailureHook(&OnWorkerFailure);
    return list;
  }();
  return *handlers;
}

SpontaneousErrorHandlers& TheSpontaneousErrorHandlers() {
  static SpontaneousErrorHandlers* const handlers = [] {
    auto* const list = new SpontaneousErrorHandlers;
    Orvel::Detail::SetDismissedErrorHook(&OnDismissedError);
    return list;
  }();
  return *handlers;
}

}  // namespace

MThreadErrorRegistration::MThreadErrorRegistration(IThreadErrorHandler& handler)
    : number_(TheThreadErrorHandlers().Add(handler, nullptr)) {}

MThreadErrorRegistration::MThreadErrorRegistration(IThreadErrorHandler& handler,
                                                   const MEngineThread& engine)
    : number_(TheThreadErrorHandlers().Add(handler, &engine)) {}

MThreadErrorRegistration::~MThreadErrorRegistration() { TheThreadErrorHandlers().Remove(number_); }

MSpontaneousErrorRegistration::MSpontaneousErrorRegistration(ISpontaneousErrorHandler& handler)
    : number_(TheSpontaneousErrorHandlers().Add(handler, nullptr)) {}

MSpontaneousErrorRegistration::MSpontaneousErrorRegistration(ISpontaneousErrorHandler& handler,
                                                             const MEngineThread& engine)
    : number_(TheSpontaneousErrorHandlers().Add(handler, &engine)) {}

MSpontaneousErrorRegistration::~MSpontaneousErrorRegistration() {
  TheSpontaneousErrorHandlers().Remove(number_);
}
