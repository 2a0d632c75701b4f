// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

/// A thread with a queue as the standard library offers it: a condition variable wakes the thread,
/// and a promise whoever waits.
class StdThreadWorker {
 public:
  StdThreadWorker() = default;
  StdThreadWorker(const StdThreadWorker&) = delete;
  StdThreadWorker& operator=(const StdThreadWorker&) = delete;
  /// Stops the thread; what is queued is dropped.
  ~StdThreadWorker();

  void Push(std::function<void()> function);
  void RunSynchronously() { RunAsync().get(); }
  [[nodiscard]] std::future<void> RunAsync();

 private:
  void Loop();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> queue_;  // under mutex_
  bool isStopped_ = false;                   // under mutex_
  std::thread thread_{&StdThreadWorker::Loop, this};
};
