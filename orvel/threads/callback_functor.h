// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <memory>
#include <type_traits>
#include <utility>

/// A callback without arguments and without a result. A function that takes one by
/// `std::unique_ptr` owns it from then on.
///
/// Thread-compatible: one thread at a time may call it, and its documentation or that of its owner
/// says which one does.
class MCallbackFunctor {
 public:
  MCallbackFunctor() = default;
  MCallbackFunctor(const MCallbackFunctor&) = delete;
  MCallbackFunctor& operator=(const MCallbackFunctor&) = delete;
  virtual ~MCallbackFunctor() = default;

  /// Runs the callback. May raise.
  virtual void Invoke() = 0;
};

/// A callback that calls a member function of an object. The object is borrowed and must outlive
/// every call. Thread-compatible, as far as the member function is.
template <class T>
class MCallbackFunctorImp final : public MCallbackFunctor {
 public:
  /// Calls `memberFunction` of `object`, neither of which may be null.
  MCallbackFunctorImp(T* object, void (T::*memberFunction)()) noexcept
      : object_(object), memberFunction_(memberFunction) {}

  void Invoke() override { (object_->*memberFunction_)(); }

 private:
  T* object_;
  void (T::*memberFunction_)();
};

/// Returns a callback that calls `memberFunction` of `object`. The object is borrowed and must
/// outlive every call. Raises `std::bad_alloc`. Any thread.
template <class T>
[[nodiscard]] std::unique_ptr<MCallbackFunctor> MakeCallback(T* object,
                                                             void (T::*memberFunction)()) {
  return std::make_unique<MCallbackFunctorImp<T>>(object, memberFunction);
}

namespace Orvel::Detail {

/// A function that can be moved or copied into an object and called later without arguments.
template <class Function>
concept CallableLater = std::constructible_from<std::decay_t<Function>, Function> &&
    std::invocable<std::add_lvalue_reference_t<std::decay_t<Function>>>;

/// A `Base` that keeps a function. A subclass overrides the operation of `Base` that is to call it.
template <class Base, class Function>
class FunctionAdapter : public Base {
 public:
  /// The arguments after the function go to the constructor of `Base`.
  template <class... BaseArguments>
  explicit FunctionAdapter(Function function, BaseArguments&&... baseArguments)
      : Base(std::forward<BaseArguments>(baseArguments)...), function_(std::move(function)) {}

 protected:
  /// Calls the function and ignores its result.
  void CallFunction() { static_cast<void>(function_()); }

 private:
  Function function_;
};

template <class Function>
class FunctionCallback final : public FunctionAdapter<MCallbackFunctor, Function> {
 public:
  using FunctionAdapter<MCallbackFunctor, Function>::FunctionAdapter;
  void Invoke() override { this->CallFunction(); }
};

}  // namespace Orvel::Detail

/// Returns a callback that calls `function` without arguments and ignores its result. The function
/// may be a lambda, a `std::function` or the result of `std::bind`. It is moved or copied into the
/// callback and destroyed with it, so a function that can only be moved will do. An empty
/// `std::function` is not refused: the call then raises `std::bad_function_call`. Raises
/// `std::bad_alloc` and what moving or copying the function raises. Any thread.
template <Orvel::Detail::CallableLater Function>
[[nodiscard]] std::unique_ptr<MCallbackFunctor> MakeCallback(Function&& function) {
  return std::make_unique<Orvel::Detail::FunctionCallback<std::decay_t<Function>>>(
      std::forward<Function>(function));
}
