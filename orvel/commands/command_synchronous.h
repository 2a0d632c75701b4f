// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "orvel/commands/command.h"
#include "orvel/foundation/exception.h"

namespace Orvel::Detail {

class CommandCompletion;

}  // namespace Orvel::Detail

/// A command whose caller waits until it has run and then has its error. The base of all such
/// commands: a subclass supplies `ExecuteCommand` and is passed to
/// `MCommandProcessor::ExecuteSynchronously`.
///
/// Thread-compatible, as `MCommand` is. The caller must not touch the error slot while it waits.
class MCommandSynchronous : public MCommand {
 public:
  /// `errorSlot` is shared with the caller and receives the command's error; an empty exception
  /// means success. The caller may read it once `ExecuteSynchronously` has returned. When it is
  /// null, an error is only recorded in the flow log.
  explicit MCommandSynchronous(std::shared_ptr<MException> errorSlot = nullptr);
  ~MCommandSynchronous() override;

  /// Runs `ExecuteCommand` unless the caller has already left with an error, stores an `MException`
  /// that it raises in the error slot, and wakes the caller. Lets any other exception pass, without
  /// waking the caller. Raises "ErrorAccessingEvent" when the caller cannot be woken. Worker only.
  void Execute() final;

 protected:
  /// The work, run on the processor's worker.
  virtual void ExecuteCommand() = 0;

 private:
  friend class MCommandProcessor;

  const std::shared_ptr<MException> errorSlot_;
  std::shared_ptr<Orvel::Detail::CommandCompletion> completion_;  // set by ExecuteSynchronously
};
