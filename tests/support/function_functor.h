// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "orvel/threads/callback_functor.h"

namespace Orvel::Testing {

/// A callback functor that calls any function.
[[nodiscard]] inline std::unique_ptr<MCallbackFunctor> Functor(std::function<void()> function) {
  class FunctionFunctor final : public MCallbackFunctor {
   public:
    explicit FunctionFunctor(std::function<void()> function) : function_(std::move(function)) {}
    void Invoke() override { function_(); }

   private:
    std::function<void()> function_;
  };
  return std::make_unique<FunctionFunctor>(std::move(function));
}

}  // namespace Orvel::Testing
