// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "orvel/commands/command.h"
#include "orvel/commands/command_synchronous.h"
#include "orvel/commands/function_executor.h"

namespace Orvel::Detail {

template <class Function>
class FunctionCommandSynchronous final : public FunctionAdapter<MCommandSynchronous, Function> {
 public:
  using FunctionAdapter<MCommandSynchronous, Function>::FunctionAdapter;

 protected:
  void ExecuteCommand() override { this->CallFunction(); }
};

}  // namespace Orvel::Detail

/// Returns a command that calls `function` without arguments and ignores its result. The function
/// is moved or copied into the command and destroyed with it. Raises `std::bad_alloc` and what
/// moving or copying the function raises. Any thread.
template <Orvel::Detail::CallableLater Function>
[[nodiscard]] std::unique_ptr<MCommand> MakeCommand(Function&& function) {
  return Orvel::Detail::MakeExecutor<MCommand>(std::forward<Function>(function));
}

/// The same for a command whose caller waits. What `function` borrows must outlive the call of
/// `ExecuteSynchronously`: that returns or raises only when the function is not running and will
/// not run. What the function owns is destroyed with the command, which may be later. Raises the
/// same.
template <Orvel::Detail::CallableLater Function>
[[nodiscard]] std::unique_ptr<MCommandSynchronous> MakeCommandSynchronous(
    std::shared_ptr<MException> errorSlot, Function&& function) {
  return std::make_unique<Orvel::Detail::FunctionCommandSynchronous<std::decay_t<Function>>>(
      std::forward<Function>(function), std::move(errorSlot));
}
