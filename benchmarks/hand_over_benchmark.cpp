// SPDX-License-Identifier: MIT
// What handing work to another thread costs, beside the same hand-over on the bare system calls and
// with what else a program may use.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <utility>

#include "bare/bare_worker.h"
#include "hand_over.h"
#include "orvel/commands/command_processor.h"
#include "orvel/commands/desync_event_scheduler.h"
#include "orvel/commands/function_command.h"
#include "orvel/commands/run_on_processor.h"
#include "peers/std_thread_worker.h"
#include "peers/windows_pool_worker.h"

namespace {

class EmptyCommand final : public MCommandSynchronous {
 protected:
  void ExecuteCommand() override {}
};

template <std::int32_t growthStep>
class Processor {
 public:
  Processor() {
    processor_.SetQueueGrowthStep(growthStep);
    processor_.Start();
  }
  Processor(const Processor&) = delete;
  Processor& operator=(const Processor&) = delete;
  ~Processor() { processor_.Stop(); }

  template <class Function>
  void Push(Function function) {
    processor_.QueueCommand(MakeCommand(std::move(function)));
  }
  void RunSynchronously() { processor_.ExecuteSynchronously(std::make_unique<EmptyCommand>()); }
  [[nodiscard]] std::future<void> RunAsync() {
    return ::RunAsync(processor_, [] {});
  }

 protected:
  MCommandProcessor& GetProcessor() { return processor_; }

 private:
  MCommandProcessor processor_;
};

class FunctionProcessor : public Processor<1> {
 public:
  void RunSynchronously() {
    ::RunSynchronously(GetProcessor(), [] {});
  }
};

class Scheduler {
 public:
  Scheduler() { scheduler_.Enable(); }

  template <class Function>
  void Push(Function function) {
    scheduler_.ScheduleDesyncEvent(MakeDesyncEvent(std::move(function)));
  }

 private:
  MDesyncEventScheduler scheduler_;
};

template <BareWorker::Drain drain>
class ByHand {
 public:
  template <class Function>
  void Push(Function function) {
    worker_.Push(std::make_unique<Item<Function>>(std::move(function)));
  }
  void RunSynchronously() { worker_.RunSynchronously(); }

 private:
  template <class Function>
  class Item final : public BareItem {
   public:
    explicit Item(Function function) : function_(std::move(function)) {}
    void Run() override { function_(); }

   private:
    Function function_;
  };

  BareWorker worker_{drain};
};

const bool areRegistered = [] {
  using namespace HandOver;
  using OneByOne = ByHand<BareWorker::Drain::kOneItem>;
  using AllQueued = ByHand<BareWorker::Drain::kWhatIsQueued>;

  RegisterBatches<Processor<1>>("QueuedCommand/orvel");
  RegisterBatches<Scheduler>("ScheduledEvent/orvel");
  for (const char* comparison : {"QueuedCommand/", "ScheduledEvent/"}) {
    RegisterBatches<OneByOne>(std::string(comparison) + "one-per-wake-up");
    RegisterBatches<AllQueued>(std::string(comparison) + "floor");
  }
  RegisterRoundTrips<Processor<1>>("SynchronousCommand/orvel");
  RegisterRoundTrips<OneByOne>("SynchronousCommand/floor");
  RegisterRoundTrips<FunctionProcessor>("RunSynchronously/orvel");
  RegisterRoundTrips<OneByOne>("RunSynchronously/floor");
  RegisterRoundTripsAfterSleep<Processor<1>>("SleepingWorker/orvel");
  RegisterRoundTripsAfterSleep<OneByOne>("SleepingWorker/floor");
  RegisterFutures<Processor<1>>("RunAsync/orvel");
  RegisterFutures<StdThreadWorker>("RunAsync/std-thread");
  RegisterBacklog<Processor<1>>("Backlog/orvel/step:1");
  RegisterBacklog<AllQueued>("Backlog/floor/step:1");
  RegisterBacklog<Processor<4096>>("Backlog/orvel/step:4096");
  RegisterBacklog<AllQueued>("Backlog/floor/step:4096");
  RegisterPeer<StdThreadWorker>("std-thread");
  RegisterPeer<WindowsPoolWorker>("windows-pool");
  return true;
}();

}  // namespace
