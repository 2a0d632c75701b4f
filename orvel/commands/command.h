// SPDX-License-Identifier: MIT
#pragma once

/// A unit of work for an `MCommandProcessor`. Owned by the caller until it is queued, then by the
/// processor, which deletes it after it has run, or unexecuted when the processor was stopped.
class MCommand {
 public:
  MCommand() = default;
  MCommand(const MCommand&) = delete;
  MCommand& operator=(const MCommand&) = delete;
  virtual ~MCommand() = default;

  /// The work, run once on the processor's worker. An `MException` that it raises ends the worker:
  /// work that can fail keeps its error, as `MCommandSynchronous` does. Work that queues itself
  /// again ends when the processor's `IsStopRequested` says so, else no flush and no stop would.
  virtual void Execute() = 0;
};
