// SPDX-License-Identifier: MIT
// Performs each operation a number of times and counts what it allocates, beside the same operation
// on the bare system calls. Prints one line of JSON per operation. Marks in the kernel's request
// log, if there is one, where the repetitions of each begin and end.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "allocation_count.h"
#include "bare/bare_recorder.h"
#include "bare/bare_registry.h"
#include "bare/bare_worker.h"
#include "orvel/commands/command_processor.h"
#include "orvel/commands/desync_event_scheduler.h"
#include "orvel/commands/function_command.h"
#include "orvel/filers/in_filer_tagged_registry.h"
#include "orvel/filers/out_filer_tagged_registry.h"
#include "orvel/logging/flow_trace.h"
#include "orvel/logging/klogger_adapter.h"
#include "orvel/platform/windows_api.h"

namespace {

constexpr int kRepetitions = 1000;
// Longer than a worker takes from its last item to its next wait, shorter than an idle time-out.
constexpr DWORD kSettleMs = 30;

std::atomic<std::int64_t> itemsRun{0};
int someObject;

/// Leaves a line in the kernel's request log: the name of an object that nobody has.
void Mark(const char* text) {
  const std::wstring wide(text, text + std::char_traits<char>::length(text));
  if (const HANDLE event = ::OpenEventW(SYNCHRONIZE, FALSE, wide.c_str())) ::CloseHandle(event);
}

class Counter {
 public:
  /// `side` names who performs the operation; `required` is the number of kernel requests that the
  /// protocol asks for per operation. `workerId` is the other thread that takes part, or 0.
  Counter(const char* operation, const char* side, double required, std::uint32_t workerId)
      : operation_(operation), side_(side), required_(required), workerId_(workerId) {}

  /// Performs `operations` once to warm up and once more while counting. `perform` gets their
  /// number.
  void Count(const std::function<void(int)>& perform) const {
    perform(kRepetitions);
    ::Sleep(kSettleMs);
    char mark[160];
    const auto setMark = [&](const char* what) {
      std::snprintf(mark, sizeof mark, "orvel-count %s %s %s %lx %lx", what, operation_, side_,
                    ::GetCurrentThreadId(), static_cast<unsigned long>(workerId_));
      Mark(mark);
    };
    setMark("begin");
    const std::int64_t before = GetAllocationCount();
    perform(kRepetitions);
    const std::int64_t after = GetAllocationCount();
    ::Sleep(kSettleMs);
    setMark("end");
    std::printf(
        "{\"operation\": \"%s\", \"side\": \"%s\", \"repetitions\": %d, \"required\": %g, "
        "\"allocations\": %.3f}\n",
        operation_, side_, kRepetitions, required_,
        static_cast<double>(after - before) / kRepetitions);
  }

 private:
  const char* operation_;
  const char* side_;
  double required_;
  std::uint32_t workerId_;
};

class EmptyCommand final : public MCommandSynchronous {
 protected:
  void ExecuteCommand() override {}
};

class CountingItem final : public BareItem {
 public:
  void Run() override { itemsRun.fetch_add(1); }
};

class CountingCommand final : public MCommand {
 public:
  void Execute() override { itemsRun.fetch_add(1); }
};

class CountingEvent final : public MDesyncEvent {
 public:
  void Execute() override { itemsRun.fetch_add(1); }
};

/// Hands items over one at a time: each is pushed into an empty queue and run before the next.
std::function<void(int)> OneByOne(std::function<void()> push) {
  return [push = std::move(push)](int count) {
    for (int left = count; left > 0; --left) {
      const std::int64_t target = itemsRun.load() + 1;
      push();
      while (itemsRun.load() < target) ::SwitchToThread();
      // The worker's way back to its wait, so that every item meets a worker at rest.
      ::Sleep(1);
    }
  };
}

/// Hands items over while the other thread is busy with one, and waits until all have run. Nothing
/// in it is a kernel request of its own.
std::function<void(int)> BehindABusyOne(std::function<void(std::function<void()>)> pushFunction,
                                        std::function<void()> push) {
  return [pushFunction = std::move(pushFunction), push = std::move(push)](int count) {
    std::atomic<bool> isBusy{false};
    std::atomic<bool> isReleased{false};
    const std::int64_t target = itemsRun.load() + count;
    pushFunction([&] {
      isBusy = true;
      while (!isReleased) ::SwitchToThread();
    });
    while (!isBusy) ::SwitchToThread();
    for (int left = count; left > 0; --left) push();
    isReleased = true;
    while (itemsRun.load() < target) ::SwitchToThread();
  };
}

std::uint32_t ThreadIdOf(MCommandProcessor& processor) {
  std::uint32_t id = 0;
  processor.ExecuteSynchronously(
      MakeCommandSynchronous(nullptr, [&id] { id = ::GetCurrentThreadId(); }));
  return id;
}

std::uint32_t ThreadIdOf(MDesyncEventScheduler& scheduler) {
  std::atomic<std::uint32_t> id{0};
  scheduler.ScheduleDesyncEvent(MakeDesyncEvent([&id] { id = ::GetCurrentThreadId(); }));
  while (id == 0) ::SwitchToThread();
  return id;
}

void CountRecording() {
  Counter("recorded-event", "orvel", 0, 0).Count([](int count) {
    for (int left = count; left > 0; --left) {
      flowLogger().logEvent(static_cast<std::int32_t>(MFlowEvent::kMessageSend), 1, 2, 3, 4,
                            FlowObject(&someObject));
    }
  });
  static BareRecorder recorder;
  Counter("recorded-event", "floor", 0, 0).Count([](int count) {
    for (int left = count; left > 0; --left) {
      recorder.Record(0, 1, 2, 3, 4, FlowObject(&someObject));
    }
  });
  Counter("traced-scope", "orvel", 0, 0).Count([](int count) {
    for (int left = count; left > 0; --left) {
      static const MFlowPoint point(L"OperationCounts", L"CountRecording");
      const MFlowScope scope(point, &someObject);
    }
  });
}

void CountProcessor() {
  // Caller: signal the queue, wait. Worker: wait, reset the queue's event, signal completion.
  constexpr double kSynchronous = 2 + 3;
  // Caller: signal the queue. Worker: wait, reset the queue's event.
  constexpr double kQueued = 1 + 2;
  // By hand the caller also looks for an abort and creates and closes the completion event, and the
  // worker looks for a stop.
  constexpr double kSynchronousByHand = 5 + 4;
  constexpr double kQueuedByHand = 1 + 3;

  MCommandProcessor processor;
  processor.SetQueueGrowthStep(kRepetitions);
  processor.Start();
  const std::uint32_t workerId = ThreadIdOf(processor);
  Counter("synchronous-command", "orvel", kSynchronous, workerId).Count([&](int count) {
    for (int left = count; left > 0; --left) {
      processor.ExecuteSynchronously(std::make_unique<EmptyCommand>());
    }
  });
  Counter("queued-command", "orvel", kQueued, workerId).Count(OneByOne([&] {
    processor.QueueCommand(std::make_unique<CountingCommand>());
  }));
  Counter("commands-behind-one", "orvel", 0, workerId)
      .Count(BehindABusyOne(
          [&](std::function<void()> work) { processor.QueueCommand(MakeCommand(std::move(work))); },
          [&] { processor.QueueCommand(std::make_unique<CountingCommand>()); }));
  processor.Stop();

  BareWorker bare(BareWorker::Drain::kOneItem);
  Counter("synchronous-command", "floor", kSynchronousByHand, bare.GetThreadId())
      .Count([&](int count) {
        for (int left = count; left > 0; --left) bare.RunSynchronously();
      });
  Counter("queued-command", "floor", kQueuedByHand, bare.GetThreadId()).Count(OneByOne([&] {
    bare.Push(std::make_unique<CountingItem>());
  }));
}

void CountScheduler() {
  constexpr double kScheduled = 1 + 2;  // as for a queued command
  constexpr double kScheduledByHand = 1 + 3;

  MDesyncEventScheduler scheduler;
  scheduler.SetQueueGrowthStep(kRepetitions);
  scheduler.Enable();
  const std::uint32_t threadId = ThreadIdOf(scheduler);
  Counter("scheduled-event", "orvel", kScheduled, threadId).Count(OneByOne([&] {
    scheduler.ScheduleDesyncEvent(std::make_unique<CountingEvent>());
  }));
  Counter("events-behind-one", "orvel", 0, threadId)
      .Count(BehindABusyOne(
          [&](std::function<void()> work) {
            scheduler.ScheduleDesyncEvent(MakeDesyncEvent(std::move(work)));
          },
          [&] { scheduler.ScheduleDesyncEvent(std::make_unique<CountingEvent>()); }));
  scheduler.Disable();

  BareWorker bare(BareWorker::Drain::kWhatIsQueued);
  Counter("scheduled-event", "floor", kScheduledByHand, bare.GetThreadId()).Count(OneByOne([&] {
    bare.Push(std::make_unique<CountingItem>());
  }));
}

void CountRegistry() {
  // Four keys opened and closed, and the value in the last one.
  constexpr double kValue = 4 + 1 + 4;
  constexpr const wchar_t* kApplicationKey = L"orvel-counts";
  constexpr const wchar_t* kSection = L"Section";
  const std::wstring tag = L"Value";

  IOutFilerTaggedRegistry out(MRegistryRoot::kCurrentUser, kApplicationKey);
  IInFilerTaggedRegistry in(MRegistryRoot::kCurrentUser, kApplicationKey);
  out.BeginSection(kSection);
  in.BeginSection(kSection);
  std::uint32_t value = 0;
  Counter("registry-write", "orvel", kValue, 0).Count([&](int count) {
    for (int left = count; left > 0; --left) out.WriteUnsignedInt(tag, 7);
  });
  Counter("registry-read", "orvel", kValue, 0).Count([&](int count) {
    for (int left = count; left > 0; --left) in.ReadUnsignedInt(tag, value, 0);
  });

  const BareRegistry bare(kApplicationKey, kSection);
  Counter("registry-write", "floor", kValue, 0).Count([&](int count) {
    for (int left = count; left > 0; --left) bare.WriteNumber(tag.c_str(), 7);
  });
  Counter("registry-read", "floor", kValue, 0).Count([&](int count) {
    for (int left = count; left > 0; --left) bare.ReadNumber(tag.c_str(), value);
  });
  bare.Remove();
}

}  // namespace

int main() {
  CountRecording();
  CountProcessor();
  CountScheduler();
  CountRegistry();
  return 0;
}
