// SPDX-License-Identifier: MIT
// Brings about the moments that tests of threads are about, and includes what they all use, of the
// standard library as well.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "orvel/platform/kernel_wait.h"
#include "orvel/threads/engine_thread.h"
#include "tests/support/flow_log.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"
#include "tests/support/system_call_hook.h"

namespace Orvel::Testing {

/// An engine with the loop that every subclass has and hooks for what a test wants to happen on
/// the worker. The hooks are set while there is no worker.
class ScriptedEngine final : public MEngineThread {
 public:
  ScriptedEngine() : MEngineThread(42, L"ScriptedEngine") {}
  ~ScriptedEngine() override {
    if (!isCareless) StopBeforeDestruction();
  }

  std::function<void()> script;  // instead of the usual function of the thread
  std::function<void()> onFlush;
  std::function<void()> onStop;
  bool isCareless = false;  // forgets what a subclass has to do first in its destructor
  std::atomic<int> lives{0};
  std::atomic<int> flushes{0};  // begun
  std::atomic<int> stops{0};    // begun

  using MEngineThread::GetThreadArgument;
  using MEngineThread::SignalThreadStarted;
  using MEngineThread::WaitForEvents;

  void Loop() {
    do {
      WaitForEvents(kWaitForever);
    } while (!ServeStopRequest());
  }

 protected:
  void ThreadFunction() override {
    ++lives;
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

/// Keeps a worker that comes to `Hold` there until it is released.
class Gate {
 public:
  void Hold() {
    reached_.CountDown();
    open_.Wait();
  }
  void AwaitWorker() { reached_.Wait(); }
  void Release() { open_.CountDown(); }

 private:
  Latch reached_{1};
  Latch open_{1};
};

/// A thread in `Stop`, which has signalled the worker and waits for its end.
[[nodiscard]] inline std::jthread StopElsewhere(MEngineThread& engine) {
  std::jthread stopper([&engine] { engine.Stop(); });
  while (engine.GetState() != MEngineState::kStopping) std::this_thread::yield();
  // The other one holds the lock from the change of state until it has signalled the worker.
  engine.Stop();
  return stopper;
}

/// A thread in `call`, which has come to wait for one of several objects and is to raise `error`.
template <class Call>
[[nodiscard]] std::jthread WaitElsewhere(Call call, const std::string& error = "") {
  const auto waits = std::make_shared<Latch>(1);
  std::jthread caller([waits, call = std::move(call), error] {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, [&] { waits->CountDown(); });
    EXPECT_EQ(ErrorOf(call), error);
  });
  waits->Wait();
  return caller;
}

/// Has `threads` threads run `work`, each with its number, and this one `meanwhile`, from the same
/// moment on.
inline void RunTogether(
    std::size_t threads, const std::function<void(std::size_t)>& work,
    const std::function<void()>& meanwhile = [] {}) {
  StartLine start(threads + 1);
  std::vector<std::jthread> others;
  for (std::size_t number = 0; number < threads; ++number) {
    others.emplace_back([&, number] {
      start.Await();
      work(number);
    });
  }
  start.Await();
  meanwhile();
}

/// Runs `round` once for what is opened lazily, then `rounds` times more, by which no handle may be
/// left. Returns how often it ran it: again when a handle was left, as the compiler's runtime makes
/// an event for a mutex of its own the first time that threads contend for it. What leaks does so
/// each time.
inline int ExpectNoHandleIsLeft(int rounds, const std::function<void()>& round) {
  int ran = 0;
  const auto countAfter = [&](int times) {
    for (ran += times; times > 0; --times) round();
    return CountOpenHandles();
  };
  std::size_t before = countAfter(1);
  std::size_t after = countAfter(rounds);
  for (int again = 0; again < 3 && after > before; ++again) {
    before = std::exchange(after, countAfter(rounds));
  }
  EXPECT_LE(after, before);
  return ran;
}

/// What `call` raises while the system answers as `hook` says, which it has to come to.
template <class Call>
[[nodiscard]] std::string ErrorUnder(const SystemCallHook& hook, Call call) {
  const std::string error = ErrorOf(call);
  EXPECT_TRUE(hook.WasReached());
  return error;
}

}  // namespace Orvel::Testing
