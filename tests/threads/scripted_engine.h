// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>

#include "orvel/platform/kernel_wait.h"
#include "orvel/threads/engine_thread.h"

namespace Orvel::Testing {

/// An engine with the loop that every subclass has and hooks for what a test wants to happen on
/// the worker. The hooks are set while there is no worker.
class ScriptedEngine final : public MEngineThread {
 public:
  ScriptedEngine() : MEngineThread(42, L"ScriptedEngine") {}
  ~ScriptedEngine() override { StopBeforeDestruction(); }

  std::function<void()> script;  // instead of the usual function of the thread
  std::function<void()> onFlush;
  std::function<void()> onStop;
  std::atomic<int> flushes{0};  // begun
  std::atomic<int> stops{0};    // begun

  using MEngineThread::GetThreadArgument;
  using MEngineThread::SignalThreadStarted;
  using MEngineThread::WaitForEvents;

  void Loop() {
    do {
      WaitForEvents(Detail::kWaitForever);
    } while (!ServeStopRequest());
  }

 protected:
  void ThreadFunction() override {
    if (script) return script();
    SignalThreadStarted();
    Loop();
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

}  // namespace Orvel::Testing
