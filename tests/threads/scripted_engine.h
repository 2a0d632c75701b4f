// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "orvel/foundation/exception.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/threads/engine_thread.h"

namespace Orvel::Testing {

/// An engine with the loop that every subclass has and hooks for what a test wants to happen on
/// the worker. The hooks are set while there is no worker.
class ScriptedEngine final : public MEngineThread {
 public:
  ScriptedEngine() : MEngineThread(42, L"ScriptedEngine") {}
  ~ScriptedEngine() override { StopBeforeDestruction(); }

  std::function<void()> beforeStarted;
  std::function<void()> insteadOfLoop;
  std::function<void()> onFlush;
  std::function<void()> onStop;
  std::atomic<int> flushes{0};  // begun
  std::atomic<int> stops{0};    // begun

  using MEngineThread::GetThreadArgument;
  using MEngineThread::ServeStopRequest;
  using MEngineThread::SignalThreadStarted;
  using MEngineThread::WaitForEvents;

 protected:
  void ThreadFunction() override {
    if (beforeStarted) beforeStarted();
    SignalThreadStarted();
    if (insteadOfLoop) return insteadOfLoop();
    do {
      WaitForEvents(Detail::kWaitForever);
    } while (!ServeStopRequest());
  }
  void OnFlush() override {
    ++flushes;
    if (onFlush) onFlush();
  }
  void OnStop() override {
    ++stops;
    if (onStop) onStop();
  }
};

/// Returns once another thread's `Stop` has signalled the worker and waits for its end.
inline void WaitUntilStopIsUnderWay(MEngineThread& engine) {
  while (engine.GetState() != MEngineState::kStopping) std::this_thread::yield();
  // The other one holds the lock from the change of state until it has signalled the worker.
  engine.Stop();
}

}  // namespace Orvel::Testing
