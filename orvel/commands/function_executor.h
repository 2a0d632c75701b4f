// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "orvel/threads/callback_functor.h"

namespace Orvel::Detail {

/// A command or an event that calls a function. `Base` is its class.
template <class Base, class Function>
class FunctionExecutor final : public FunctionAdapter<Base, Function> {
 public:
  using FunctionAdapter<Base, Function>::FunctionAdapter;
  void Execute() override { this->CallFunction(); }
};

template <class Base, CallableLater Function>
[[nodiscard]] std::unique_ptr<Base> MakeExecutor(Function&& function) {
  return std::make_unique<FunctionExecutor<Base, std::decay_t<Function>>>(
      std::forward<Function>(function));
}

}  // namespace Orvel::Detail
