// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/foundation/exception.h"
#include "orvel/logging/flow_trace.h"
#include "orvel/threads/engine_thread.h"
#include "orvel/threads/non_copyable.h"

/// Called for errors that have no caller and are recorded in the flow log as dismissed: errors
/// of idle callbacks, scheduled events, clean-ups and destructors, of workers that fail, and those
/// that the program itself passes to `RecordDismissed`. Put into use by an
/// `MSpontaneousErrorRegistration`.
///
/// An implementation must be thread-safe: the calls come on the threads that dismiss errors, which
/// may be several at the same time.
class ISpontaneousErrorHandler {
 public:
  ISpontaneousErrorHandler(const ISpontaneousErrorHandler&) = delete;
  ISpontaneousErrorHandler& operator=(const ISpontaneousErrorHandler&) = delete;

  /// Called when `error` was dismissed at `point` on behalf of `object`. That may be null or half
  /// destroyed, so do not use more than its address. Runs on the thread that dismissed the error,
  /// after it was recorded; no lock of the library is held. What this raises is recorded and
  /// dismissed. For errors that are dismissed on its thread while it runs no handler is called.
  virtual void OnSpontaneousError(const MFlowPoint& point, const void* object,
                                  const MException& error) = 0;

 protected:
  ISpontaneousErrorHandler() = default;
  ~ISpontaneousErrorHandler() = default;
};

/// Puts a handler into use for as long as this object exists. Any number may be in use at a time;
/// they are called in the order in which they were put into use.
///
/// Thread-compatible; may be built and destroyed on any thread, also inside a handler.
class MSpontaneousErrorRegistration : public Orvel::Libraries::NonCopyable {
 public:
  /// For all errors of the process. Borrows the handler for this object's life. Raises
  /// `std::bad_alloc`.
  explicit MSpontaneousErrorRegistration(ISpontaneousErrorHandler& handler);
  /// Only for errors dismissed on behalf of `engine`, which must exist as long as this object.
  /// Raises `std::bad_alloc`.
  MSpontaneousErrorRegistration(ISpontaneousErrorHandler& handler, const MEngineThread& engine);
  /// Takes the handler out of use and waits for calls of it on other threads. It is not called
  /// after this.
  ~MSpontaneousErrorRegistration();

 private:
  const std::uint64_t number_;
};
