// SPDX-License-Identifier: MIT
#pragma once

#include <asio/post.hpp>
#include <asio/thread_pool.hpp>
#include <asio/use_future.hpp>

#include <future>
#include <utility>

/// Asio's thread pool with one thread.
class AsioWorker {
 public:
  template <class Function>
  void Push(Function function) {
    asio::post(pool_, std::move(function));
  }
  void RunSynchronously() { RunAsync().get(); }
  [[nodiscard]] std::future<void> RunAsync() { return asio::post(pool_, asio::use_future); }

 private:
  asio::thread_pool pool_{1};
};
