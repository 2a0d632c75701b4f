// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

/// A callback without arguments and result. Whoever receives one owns it.
class MCallbackFunctor {
 public:
  MCallbackFunctor() = default;
  MCallbackFunctor(const MCallbackFunctor&) = delete;
  MCallbackFunctor& operator=(const MCallbackFunctor&) = delete;
  virtual ~MCallbackFunctor() = default;

  /// Runs the callback, on whichever thread the owner documents. May raise.
  virtual void Invoke() = 0;
};

/// A callback that calls a member function of an object. The object is borrowed and must outlive
/// every call.
template <class T>
class MCallbackFunctorImp final : public MCallbackFunctor {
 public:
  MCallbackFunctorImp(T* object, void (T::*memberFunction)()) noexcept
      : object_(object), memberFunction_(memberFunction) {}

  void Invoke() override { (object_->*memberFunction_)(); }

 private:
  T* object_;
  void (T::*memberFunction_)();
};

/// Shorthand: a callback that calls `memberFunction` of `object`, which is borrowed.
template <class T>
[[nodiscard]] std::unique_ptr<MCallbackFunctor> MakeCallback(T* object,
                                                             void (T::*memberFunction)()) {
  return std::make_unique<MCallbackFunctorImp<T>>(object, memberFunction);
}
