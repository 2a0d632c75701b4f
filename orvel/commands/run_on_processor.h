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

/// What whoever waits for a function is to raise for the exception that is being handled.
[[nodiscard]] std::exception_ptr FailureForCaller(MCommandProcessor& processor,
                                                  RunKind kind) noexcept;

}  // namespace Orvel::Detail

/// Runs `function` on `processor`'s worker, after what is queued already, and waits, without limit,
/// for its end. Returns what it returns: a value by move, a reference as it is. Returns and raises
/// only when the function does not run and will not run, so it may borrow all that the caller has.
/// Any thread but the worker; waits for `Start` when the processor is yet to be started.
///
/// Raises what `MCommandProcessor::ExecuteSynchronously` raises when the function cannot be run and
/// waited for, and on the calling thread what the function raised; the worker lives on in any case:
/// - an `MException` with its whole chain,
/// - for a `std::exception` an `MException` with "StandardException", its text as "errorMessage";
///   when there is no memory for that, the exception itself,
/// - anything else as it is.
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

/// Queues `function` for `processor`'s worker and returns at once. The future gets what the
/// function returns, or raises what it raised, as `RunSynchronously` says. When the function is
/// dropped without being run, because the processor was stopped, the future raises
/// `std::future_error` (`std::future_errc::broken_promise`). A processor that is destroyed without
/// ever having been started drops nothing: its futures never become ready.
///
/// The function is moved or copied; what it borrows must live until it has run or was dropped, also
/// when nobody waits for the future, and what it owns may be destroyed after the future is ready.
/// Any thread, but to wait for the future on the worker itself is to wait for ever. Raises what
/// `MCommandProcessor::QueueCommand` raises; the function is not run then.
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
