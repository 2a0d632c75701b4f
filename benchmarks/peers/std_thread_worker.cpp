// SPDX-License-Identifier: MIT
#include "peers/std_thread_worker.h"

#include <memory>
#include <utility>

StdThreadWorker::~StdThreadWorker() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isStopped_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void StdThreadWorker::Push(std::function<void()> function) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back(std::move(function));
  }
  changed_.notify_one();
}

std::future<void> StdThreadWorker::RunAsync() {
  const auto promise = std::make_shared<std::promise<void>>();
  std::future<void> future = promise->get_future();
  Push([promise] { promise->set_value(); });
  return future;
}

void StdThreadWorker::Loop() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return isStopped_ || !queue_.empty(); });
    if (isStopped_) return;
    const std::function<void()> function = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    function();
    lock.lock();
  }
}
