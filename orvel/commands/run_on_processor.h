// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"
#include "orvel/threads/callback_functor.h"

namespace Orvel::Detail {

enum class RunKind { kSynchronous, kAsynchronous };

/// Returns the exception to raise on the thread that waits for the function, made from the one that
/// is being handled. Call it in an exception handler only.
[[nodiscard]] std::exception_ptr FailureForCaller(MCommandProcessor& processor,
                                                  RunKind kind) noexcept;

}  // namespace Orvel::Detail

/// Runs `function` on `processor`'s worker, after everything that is queued already, and waits,
/// without limit, for its end. Returns its result: a value is moved, a reference stays one. Returns
/// and raises only when the function is not running and will not run, so it may use the caller's
/// local variables. Any thread but the worker. Before `Start` it waits for that as well.
///
/// Raises what `MCommandProcessor::ExecuteSynchronously` raises, and, on the calling thread, what
/// the function raised; an exception of the function does not end the worker:
/// - an `MException` comes with its whole chain,
/// - a `std::exception` becomes an `MException` with "StandardException" and its text as
///   "errorMessage"; if there is no memory for that, it comes as it is,
/// - anything else comes as it is.
template <std::invocable Function>
std::invoke_result_t<Function> RunSynchronously(MCommandProcessor& processor, Function&& function) {
  using Result = std::invoke_result_t<Function>;
  std::exception_ptr failure;
  const auto run = [&](auto&& call) {
    processor.ExecuteSynchronously(MakeCommandSynchronous(nullptr, [&] {
      try {
        call();
      } catch (...) {
        failure = Orvel::Detail::FailureForCaller(processor, Orvel::Detail::RunKind::kSynchronous);
      }
    }));
    if (failure != nullptr) std::rethrow_exception(std::move(failure));
  };
  if constexpr (std::is_void_v<Result>) {
    run([&] { std::forward<Function>(function)(); });
  } else if constexpr (std::is_reference_v<Result>) {
    std::remove_reference_t<Result>* result = nullptr;
    run([&] {
      auto&& referred = std::forward<Function>(function)();
      result = std::addressof(referred);
    });
    return static_cast<Result>(*result);
  } else {
    std::optional<Result> result;
    run([&] { result.emplace(std::forward<Function>(function)()); });
    return *std::move(result);
  }
}

/// Queues `function` for `processor`'s worker and returns at once. The future receives the result
/// of the function, or raises what the function raised, as `RunSynchronously` does. When the
/// function is destroyed without being run, because the processor was stopped, the future raises
/// `std::future_error` (`std::future_errc::broken_promise`). If the processor is destroyed without
/// ever having been started, the future never becomes ready.
///
/// The function is moved or copied. What it borrows must exist until it has run or was destroyed,
/// even when nobody waits for the future; what it owns may be destroyed after the future is ready.
/// Any thread; but do not wait for the future on the worker itself, which would never end. Raises
/// what `MCommandProcessor::QueueCommand` raises; the function does not run then.
template <Orvel::Detail::CallableLater Function>
[[nodiscard]] std::future<std::invoke_result_t<std::decay_t<Function>&>> RunAsync(
    MCommandProcessor& processor, Function&& function) {
  using Result = std::invoke_result_t<std::decay_t<Function>&>;
  std::promise<Result> promise;
  std::future<Result> future = promise.get_future();
  processor.QueueCommand(MakeCommand([&processor, promise = std::move(promise),
                                      function = std::forward<Function>(function)]() mutable {
    try {
      if constexpr (std::is_void_v<Result>) {
        function();
        promise.set_value();
      } else {
        promise.set_value(function());
      }
    } catch (...) {
      promise.set_exception(
          Orvel::Detail::FailureForCaller(processor, Orvel::Detail::RunKind::kAsynchronous));
    }
  }));
  return future;
}
