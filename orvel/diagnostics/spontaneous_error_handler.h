// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/foundation/exception.h"
#include "orvel/logging/flow_trace.h"
#include "orvel/threads/engine_thread.h"
#include "orvel/threads/non_copyable.h"

/// Hears of errors that nobody is there to be told of and that are recorded in the flow log as
/// dismissed: those of idle callbacks, of scheduled events, of clean-ups and destructors, of
/// workers that fail, and those that the program itself gives to `RecordDismissed`. Put into use by
/// an `MSpontaneousErrorRegistration`.
class ISpontaneousErrorHandler {
 public:
  ISpontaneousErrorHandler(const ISpontaneousErrorHandler&) = delete;
  ISpontaneousErrorHandler& operator=(const ISpontaneousErrorHandler&) = delete;

  /// `error` was swallowed at `point` on behalf of `object`, which may be null and may be half
  /// destroyed: only its address means anything. Runs on the thread that swallowed it, after the
  /// error was recorded, without a lock of the library held. What it raises is recorded and
  /// swallowed; of errors that are dismissed on its thread while it runs no handler hears.
  virtual void OnSpontaneousError(const MFlowPoint& point, const void* object,
                                  const MException& error) = 0;

 protected:
  ISpontaneousErrorHandler() = default;
  ~ISpontaneousErrorHandler() = default;
};

/// Has a handler called for as long as this object lives. Any number may be in use at a time; they
/// are called in the order in which they were put into use, by several threads at once if several
/// swallow errors.
///
/// Thread-compatible; may be built and destroyed on any thread, also inside a handler.
class MSpontaneousErrorRegistration : public Orvel::Libraries::NonCopyable {
 public:
  /// For every error of the process. The handler is borrowed for this object's life. Raises
  /// `std::bad_alloc`.
  explicit MSpontaneousErrorRegistration(ISpontaneousErrorHandler& handler);
  /// For errors swallowed on behalf of `engine` alone, which is only compared with others and must
  /// live as long as this object.
  MSpontaneousErrorRegistration(ISpontaneousErrorHandler& handler, const MEngineThread& engine);
  /// Takes the handler out of use and waits for calls of it on other threads: after this it neither
  /// runs nor will.
  ~MSpontaneousErrorRegistration();

 private:
  const std::uint64_t number_;
};
