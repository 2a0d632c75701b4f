// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "orvel/commands/command.h"
#include "orvel/foundation/exception.h"

namespace Orvel::Detail {

class CommandCompletion;

}  // namespace Orvel::Detail

/// A command whose caller waits until it has run, and gets the error that it raised. Base of all
/// such commands: a subclass supplies `ExecuteCommand` and is handed to
/// `MCommandProcessor::ExecuteSynchronously`.
class MCommandSynchronous : public MCommand {
 public:
  /// `errorSlot` is shared with the caller and receives the command's error: an empty exception
  /// means that it succeeded. The caller may look into it once `ExecuteSynchronously` has
  /// returned. When it is null, errors go to the flow log only.
  explicit MCommandSynchronous(std::shared_ptr<MException> errorSlot = nullptr);
  ~MCommandSynchronous() override;

  /// Runs `ExecuteCommand`, keeps an `MException` that it raises in the error slot and wakes the
  /// caller. Any other exception passes through and the caller is not woken. Raises
  /// "ErrorAccessingEvent" when the caller cannot be woken. Worker only.
  void Execute() final;

 protected:
  /// The work, run on the processor's worker.
  virtual void ExecuteCommand() = 0;

 private:
  friend class MCommandProcessor;

  const std::shared_ptr<MException> errorSlot_;
  std::shared_ptr<Orvel::Detail::CommandCompletion> completion_;  // set by ExecuteSynchronously
};
