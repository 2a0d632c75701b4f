// SPDX-License-Identifier: MIT
#pragma once

/// A unit of work for an `MCommandProcessor`. The caller owns it until it is queued, then the
/// processor, which deletes it after it has run, or without running it when it was stopped.
///
/// Thread-compatible: built on any thread, run on the worker, and deleted there or, when the
/// processor was stopped, on a thread that queues a command.
class MCommand {
 public:
  MCommand() = default;
  MCommand(const MCommand&) = delete;
  MCommand& operator=(const MCommand&) = delete;
  virtual ~MCommand() = default;

  /// The work, run once on the processor's worker. An `MException` that it raises ends the worker,
  /// so work that can fail has to catch and keep its error, as `MCommandSynchronous` does. Work
  /// that queues itself again has to stop doing so when the processor's `IsStopRequested` returns
  /// true; otherwise no flush and no stop would end.
  virtual void Execute() = 0;
};
