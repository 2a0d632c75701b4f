// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <system_error>
#include <utility>

#include "orvel/platform/windows_api.h"

/// A thread pool of the system with one thread. Raises `std::system_error` when it is refused.
class WindowsPoolWorker {
 public:
  WindowsPoolWorker() : pool_(::CreateThreadpool(nullptr)) {
    Require(pool_ != nullptr);
    ::SetThreadpoolThreadMaximum(pool_, 1);
    Require(::SetThreadpoolThreadMinimum(pool_, 1) != FALSE);
    ::InitializeThreadpoolEnvironment(&environment_);
    ::SetThreadpoolCallbackPool(&environment_, pool_);
  }
  WindowsPoolWorker(const WindowsPoolWorker&) = delete;
  WindowsPoolWorker& operator=(const WindowsPoolWorker&) = delete;
  ~WindowsPoolWorker() {
    ::DestroyThreadpoolEnvironment(&environment_);
    ::CloseThreadpool(pool_);
  }

  template <class Function>
  void Push(Function function) {
    auto owned = std::make_unique<Function>(std::move(function));
    Require(::TrySubmitThreadpoolCallback(&RunOwned<Function>, owned.get(), &environment_) !=
            FALSE);
    static_cast<void>(owned.release());
  }

  void RunSynchronously() {
    const PTP_WORK work = ::CreateThreadpoolWork(&RunNothing, nullptr, &environment_);
    Require(work != nullptr);
    ::SubmitThreadpoolWork(work);
    ::WaitForThreadpoolWorkCallbacks(work, FALSE);
    ::CloseThreadpoolWork(work);
  }

 private:
  template <class Function>
  static void CALLBACK RunOwned(PTP_CALLBACK_INSTANCE, void* context) {
    const std::unique_ptr<Function> function(static_cast<Function*>(context));
    (*function)();
  }
  static void CALLBACK RunNothing(PTP_CALLBACK_INSTANCE, void*, PTP_WORK) {}

  static void Require(bool isDone) {
    if (isDone) return;
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
  }

  PTP_POOL pool_;
  TP_CALLBACK_ENVIRON environment_;
};
