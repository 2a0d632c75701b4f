// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/foundation/exception.h"
#include "orvel/threads/engine_thread.h"
#include "orvel/threads/non_copyable.h"

/// Hears of workers that failed: of an `MException` that left a thread's function, as that of a
/// plain command does. Without it the owner hears of that at its next `Flush` only. Put into use by
/// an `MThreadErrorRegistration`.
class IThreadErrorHandler {
 public:
  IThreadErrorHandler(const IThreadErrorHandler&) = delete;
  IThreadErrorHandler& operator=(const IThreadErrorHandler&) = delete;

  /// `error` has ended the worker of `engine`. Runs on that worker, as the last thing that it does,
  /// after the error was recorded; no lock is held. A processor is aborted by then and its queue
  /// deleted. Whoever stops or destroys the engine waits for this call, and so does a `Start` whose
  /// worker was not ready yet. On this thread the engine refuses `Start`, `Flush` and `Stop`: to
  /// start it anew, have another thread do so. What it raises is recorded and swallowed.
  virtual void OnThreadError(MEngineThread& engine, const MException& error) = 0;

 protected:
  IThreadErrorHandler() = default;
  ~IThreadErrorHandler() = default;
};

/// Has a handler called for as long as this object lives. Any number may be in use at a time; they
/// are called in the order in which they were put into use, by several workers at once if several
/// fail.
///
/// Thread-compatible; may be built and destroyed on any thread, also inside a handler.
class MThreadErrorRegistration : public Orvel::Libraries::NonCopyable {
 public:
  /// For every engine of the process. The handler is borrowed for this object's life. Raises
  /// `std::bad_alloc`.
  explicit MThreadErrorRegistration(IThreadErrorHandler& handler);
  /// For `engine` alone, which is only compared with others and must live as long as this object.
  MThreadErrorRegistration(IThreadErrorHandler& handler, const MEngineThread& engine);
  /// Takes the handler out of use and waits for calls of it on other threads: after this it neither
  /// runs nor will.
  ~MThreadErrorRegistration();

 private:
  const std::uint64_t number_;
};
