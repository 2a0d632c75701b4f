// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/foundation/exception.h"
#include "orvel/threads/engine_thread.h"
#include "orvel/threads/non_copyable.h"

/// Called for workers that fail: an `MException` left the thread's function, as one of a plain
/// command does. Without such a handler the owner learns of it only at its next `Flush`. Put into
/// use by an `MThreadErrorRegistration`.
///
/// An implementation must be thread-safe: the calls come on the workers that fail, which may be
/// several at the same time.
class IThreadErrorHandler {
 public:
  IThreadErrorHandler(const IThreadErrorHandler&) = delete;
  IThreadErrorHandler& operator=(const IThreadErrorHandler&) = delete;

  /// Called when `error` has ended the worker of `engine`. Runs on that worker, as the last thing
  /// that it does, after the error was recorded; no lock is held. A processor is aborted by then
  /// and its queue is empty. A thread that stops or destroys the engine waits for this call, and so
  /// does a `Start` whose worker was not ready yet. On this thread the engine refuses `Start`,
  /// `Flush` and `Stop`; another thread may start it again. What this raises is recorded and
  /// dismissed.
  virtual void OnThreadError(MEngineThread& engine, const MException& error) = 0;

 protected:
  IThreadErrorHandler() = default;
  ~IThreadErrorHandler() = default;
};

/// Puts a handler into use for as long as this object exists. Any number may be in use at a time;
/// they are called in the order in which they were put into use.
///
/// Thread-compatible; may be built and destroyed on any thread, also inside a handler.
class MThreadErrorRegistration : public Orvel::Libraries::NonCopyable {
 public:
  /// For all engines of the process. Borrows the handler for this object's life. Raises
  /// `std::bad_alloc`.
  explicit MThreadErrorRegistration(IThreadErrorHandler& handler);
  /// Only for `engine`, which must exist as long as this object. Raises `std::bad_alloc`.
  MThreadErrorRegistration(IThreadErrorHandler& handler, const MEngineThread& engine);
  /// Takes the handler out of use and waits for calls of it on other threads. It is not called
  /// after this.
  ~MThreadErrorRegistration();

 private:
  const std::uint64_t number_;
};
