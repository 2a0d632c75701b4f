// SPDX-License-Identifier: MIT
#pragma once

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "orvel/platform/windows_api.h"

/// The ways of handing work to another thread that are compared. Each measures any worker with the
/// operations that it uses: `Push` queues a function, `RunSynchronously` waits for an empty one,
/// and `RunAsync` returns the future of an empty one.
///
/// Numbers of iterations are fixed, so that the sides of a comparison do the same work.
namespace HandOver {

constexpr std::int64_t kUnitsPerBatch = 1000;
constexpr std::int64_t kMaxProducers = 2;
constexpr std::int64_t kBatchesPerRepetition = 2;
constexpr std::int64_t kRoundTrips = 300;
constexpr std::int64_t kRoundTripsAfterSleep = 50;
constexpr DWORD kUntilAsleepMs = 2;
constexpr std::int64_t kBacklog = 100'000;
constexpr int kBacklogRepetitions = 3;  // a queue that grows by single places takes seconds

class Event {
 public:
  Event() : handle_(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { ::CloseHandle(handle_); }

  void Set() { ::SetEvent(handle_); }
  void Wait() { ::WaitForSingleObject(handle_, INFINITE); }

 private:
  HANDLE handle_;
};

/// Counts the units of one batch as they run; the last one wakes the producer.
class Batch {
 public:
  void Begin(std::int64_t size) { left_.store(size, std::memory_order_relaxed); }
  void Count() {
    if (left_.fetch_sub(1, std::memory_order_acq_rel) == 1) done_.Set();
  }
  void Wait() { done_.Wait(); }

 private:
  std::atomic<std::int64_t> left_{0};
  Event done_;
};

template <class Worker>
void PushBatch(Worker& worker, Batch& batch, std::int64_t size) {
  batch.Begin(size);
  for (std::int64_t left = size; left > 0; --left) worker.Push([&batch] { batch.Count(); });
}

/// Measures one operation as often as the benchmark asks, without what is between.
class ManualTimer {
 public:
  explicit ManualTimer(benchmark::State& state) : state_(state) {}
  ManualTimer(const ManualTimer&) = delete;
  ManualTimer& operator=(const ManualTimer&) = delete;
  ~ManualTimer() {
    state_.SetIterationTime(std::chrono::duration<double>(Clock::now() - start_).count());
  }

 private:
  using Clock = std::chrono::steady_clock;
  benchmark::State& state_;
  const Clock::time_point start_ = Clock::now();
};

/// Hands one batch after another to the worker, which all producers share, and waits for the end of
/// each.
template <class Worker>
class Batches {
 public:
  static void SetUp(const benchmark::State&) {
    worker = std::make_unique<Worker>();
    // Grows the queue to the size that it needs while it is measured.
    Batch batch;
    PushBatch(*worker, batch, 2 * kMaxProducers * kUnitsPerBatch);
    batch.Wait();
  }

  static void TearDown(const benchmark::State&) { worker.reset(); }

  static void Run(benchmark::State& state) {
    Batch batch;
    for (auto _ : state) {
      PushBatch(*worker, batch, kUnitsPerBatch);
      batch.Wait();
    }
    state.SetItemsProcessed(state.iterations() * kUnitsPerBatch);
  }

 private:
  static inline std::unique_ptr<Worker> worker;
};

template <class Worker>
void RoundTrips(benchmark::State& state) {
  Worker worker;
  for (auto _ : state) worker.RunSynchronously();
}

template <class Worker>
void RoundTripsAfterSleep(benchmark::State& state) {
  Worker worker;
  for (auto _ : state) {
    ::Sleep(kUntilAsleepMs);
    const ManualTimer timer(state);
    worker.RunSynchronously();
  }
}

template <class Worker>
void Futures(benchmark::State& state) {
  Worker worker;
  std::vector<std::future<void>> futures(kUnitsPerBatch);
  for (auto _ : state) {
    for (std::future<void>& future : futures) future = worker.RunAsync();
    for (std::future<void>& future : futures) future.get();
  }
  state.SetItemsProcessed(state.iterations() * kUnitsPerBatch);
}

/// Queues very many units on a new worker that is busy with another, and has them run.
template <class Worker>
void Backlog(benchmark::State& state) {
  for (auto _ : state) {
    Event isBusy;
    Event goOn;
    Batch batch;
    Worker worker;
    worker.Push([&] {
      isBusy.Set();
      goOn.Wait();
    });
    isBusy.Wait();
    const ManualTimer timer(state);
    PushBatch(worker, batch, kBacklog);
    goOn.Set();
    batch.Wait();
  }
  state.SetItemsProcessed(state.iterations() * kBacklog);
}

template <class Worker>
void RegisterBatches(const std::string& name) {
  benchmark::RegisterBenchmark(name.c_str(), &Batches<Worker>::Run)
      ->Setup(&Batches<Worker>::SetUp)
      ->Teardown(&Batches<Worker>::TearDown)
      ->ThreadRange(1, kMaxProducers)
      ->Iterations(kBatchesPerRepetition)
      ->UseRealTime();
}

template <class Worker>
void RegisterRoundTrips(const std::string& name) {
  benchmark::RegisterBenchmark(name.c_str(), RoundTrips<Worker>)
      ->Iterations(kRoundTrips)
      ->UseRealTime();
}

template <class Worker>
void RegisterRoundTripsAfterSleep(const std::string& name) {
  benchmark::RegisterBenchmark(name.c_str(), RoundTripsAfterSleep<Worker>)
      ->Iterations(kRoundTripsAfterSleep)
      ->UseManualTime();
}

template <class Worker>
void RegisterFutures(const std::string& name) {
  benchmark::RegisterBenchmark(name.c_str(), Futures<Worker>)
      ->Iterations(kBatchesPerRepetition)
      ->UseRealTime();
}

template <class Worker>
void RegisterBacklog(const std::string& name) {
  benchmark::RegisterBenchmark(name.c_str(), Backlog<Worker>)
      ->Iterations(1)
      ->Repetitions(kBacklogRepetitions)
      ->UseManualTime();
}

/// Registers `Worker` as the side `side` of what every worker can do.
template <class Worker>
void RegisterPeer(const std::string& side) {
  RegisterBatches<Worker>("QueuedCommand/" + side);
  RegisterBatches<Worker>("ScheduledEvent/" + side);
  RegisterRoundTrips<Worker>("SynchronousCommand/" + side);
  RegisterRoundTrips<Worker>("RunSynchronously/" + side);
  RegisterRoundTripsAfterSleep<Worker>("SleepingWorker/" + side);
  RegisterBacklog<Worker>("Backlog/" + side + "/step:4096");
}

}  // namespace HandOver
