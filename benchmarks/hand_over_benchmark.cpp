// SPDX-License-Identifier: MIT
// What handing work to another thread costs, beside the same hand-over on the bare system calls.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "bare/bare_worker.h"
#include "orvel/commands/command_processor.h"
#include "orvel/commands/desync_event_scheduler.h"
#include "orvel/commands/function_command.h"
#include "orvel/platform/windows_api.h"

namespace {

constexpr std::int64_t kItemsPerBatch = 1000;
constexpr std::int64_t kMaxProducers = 2;
constexpr std::int64_t kBatchesPerRepetition = 2;
constexpr std::int64_t kRoundTrips = 300;

/// Counts the items of one batch as they run; the last one wakes the producer.
class Batch {
 public:
  Batch() : done_(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;
  ~Batch() { ::CloseHandle(done_); }

  void Begin(std::int64_t size) { left_.store(size, std::memory_order_relaxed); }
  void Count() {
    if (left_.fetch_sub(1, std::memory_order_acq_rel) == 1) ::SetEvent(done_);
  }
  void Wait() { ::WaitForSingleObject(done_, INFINITE); }

 private:
  std::atomic<std::int64_t> left_{0};
  HANDLE done_;
};

class CountingItem final : public BareItem {
 public:
  explicit CountingItem(Batch& batch) : batch_(batch) {}
  void Run() override { batch_.Count(); }

 private:
  Batch& batch_;
};

class CountingCommand final : public MCommand {
 public:
  explicit CountingCommand(Batch& batch) : batch_(batch) {}
  void Execute() override { batch_.Count(); }

 private:
  Batch& batch_;
};

class CountingEvent final : public MDesyncEvent {
 public:
  explicit CountingEvent(Batch& batch) : batch_(batch) {}
  void Execute() override { batch_.Count(); }

 private:
  Batch& batch_;
};

class EmptyCommand final : public MCommandSynchronous {
 protected:
  void ExecuteCommand() override {}
};

struct ProcessorTarget {
  ProcessorTarget() { processor.Start(); }
  ~ProcessorTarget() { processor.Stop(); }
  void Hand(Batch& batch) { processor.QueueCommand(std::make_unique<CountingCommand>(batch)); }

  MCommandProcessor processor;
};

struct SchedulerTarget {
  SchedulerTarget() { scheduler.Enable(); }
  void Hand(Batch& batch) { scheduler.ScheduleDesyncEvent(std::make_unique<CountingEvent>(batch)); }

  MDesyncEventScheduler scheduler;
};

template <BareWorker::Drain drain>
struct BareTarget {
  void Hand(Batch& batch) { worker.Push(std::make_unique<CountingItem>(batch)); }

  BareWorker worker{drain};
};

/// Hands one batch after another to the target and waits for the end of each.
template <class Target>
class HandOver {
 public:
  static void SetUp(const benchmark::State&) {
    target = std::make_unique<Target>();
    // Grows the queue to the size that it needs while it is measured.
    Batch batch;
    RunBatch(batch, 2 * kMaxProducers * kItemsPerBatch);
  }

  static void TearDown(const benchmark::State&) { target.reset(); }

  static void Run(benchmark::State& state) {
    Batch batch;
    for (auto _ : state) RunBatch(batch, kItemsPerBatch);
    state.SetItemsProcessed(state.iterations() * kItemsPerBatch);
  }

 private:
  static void RunBatch(Batch& batch, std::int64_t size) {
    batch.Begin(size);
    for (std::int64_t left = size; left > 0; --left) target->Hand(batch);
    batch.Wait();
  }

  static inline std::unique_ptr<Target> target;
};

void ExecuteSynchronously(benchmark::State& state) {
  MCommandProcessor processor;
  processor.Start();
  for (auto _ : state) processor.ExecuteSynchronously(std::make_unique<EmptyCommand>());
  processor.Stop();
}

void RunSynchronously(benchmark::State& state) {
  BareWorker worker(BareWorker::Drain::kOneItem);
  for (auto _ : state) worker.RunSynchronously();
}

template <class Target>
void RegisterHandOver(const char* name) {
  benchmark::RegisterBenchmark(name, &HandOver<Target>::Run)
      ->Setup(&HandOver<Target>::SetUp)
      ->Teardown(&HandOver<Target>::TearDown)
      ->ThreadRange(1, kMaxProducers)
      ->Iterations(kBatchesPerRepetition)
      ->UseRealTime();
}

const bool areRegistered = [] {
  RegisterHandOver<ProcessorTarget>("QueuedCommand/orvel");
  RegisterHandOver<BareTarget<BareWorker::Drain::kOneItem>>("QueuedCommand/floor");
  RegisterHandOver<SchedulerTarget>("ScheduledEvent/orvel");
  RegisterHandOver<BareTarget<BareWorker::Drain::kWhatIsQueued>>("ScheduledEvent/floor");
  benchmark::RegisterBenchmark("SynchronousCommand/orvel", ExecuteSynchronously)
      ->Iterations(kRoundTrips)
      ->UseRealTime();
  benchmark::RegisterBenchmark("SynchronousCommand/floor", RunSynchronously)
      ->Iterations(kRoundTrips)
      ->UseRealTime();
  return true;
}();

}  // namespace
