// SPDX-License-Identifier: MIT
// What recording a flow event costs, beside what it cannot do without.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "bare/bare_recorder.h"
#include "frozen_clock.h"
#include "orvel/logging/flow_trace.h"
#include "orvel/logging/klogger_adapter.h"
#include "orvel/logging/label_id.h"

namespace {

constexpr std::int32_t kClassId = FlowLabelId(L"RecordingBenchmark");
constexpr std::int32_t kPointId = FlowLabelId(L"Record");
constexpr auto kKind = static_cast<std::int32_t>(MFlowEvent::kMessageSend);
constexpr std::int64_t kRecordsPerBatch = 0x10000;

BareRecorder bareRecorder;
int someObject;

void RecordWithOrvel() {
  flowLogger().logEvent(kKind, 1, 2, kClassId, kPointId, FlowObject(&someObject));
}

void RecordBare() { bareRecorder.Record(kKind, 1, 2, kClassId, kPointId, FlowObject(&someObject)); }

template <void (*record)()>
void RecordEvents(benchmark::State& state) {
  for (auto _ : state) record();
}

template <void (*record)()>
void RecordBatch() {
  for (std::int64_t left = kRecordsPerBatch; left > 0; --left) record();
}

template <void (*record)()>
void RecordEventsWithFrozenClock(benchmark::State& state) {
  // Called where the compiler does not see it: for it the clock's address never changes, so it may
  // read it before the clock is replaced.
  void (*volatile recordBatch)() = RecordBatch<record>;
  for (auto _ : state) {
    const FrozenClock clock;
    recordBatch();
    state.SetIterationTime(clock.GetRealSeconds());
  }
  state.SetItemsProcessed(state.iterations() * kRecordsPerBatch);
}

void EmptyTracedScope() {
  static const MFlowPoint point(L"RecordingBenchmark", L"EmptyTracedScope");
  const MFlowScope scope(point, &someObject);
}

void EnterAndLeaveTracedScope(benchmark::State& state) {
  for (auto _ : state) EmptyTracedScope();
}

void RecordTwice(benchmark::State& state) {
  for (auto _ : state) {
    RecordWithOrvel();
    RecordWithOrvel();
  }
}

/// Builds the logger and touches all memory of both rings, so that no repetition pays for it.
void WarmUp(const benchmark::State&) {
  constexpr int kRecordsOfRing = 0x20000;
  static const bool isWarm = [] {
    for (int left = kRecordsOfRing; left > 0; --left) {
      RecordWithOrvel();
      RecordBare();
    }
    return true;
  }();
  static_cast<void>(isWarm);
}

// The number of iterations is fixed throughout, because one that is found by trial is wrong when
// the machine hiccups during the trial; and small, so that some repetitions meet no hiccup at all.
template <class Function>
benchmark::internal::Benchmark* Register(const char* name, Function function,
                                         std::int64_t iterations) {
  return benchmark::RegisterBenchmark(name, function)->Setup(WarmUp)->Iterations(iterations);
}

const bool areRegistered = [] {
  constexpr std::int64_t kRecords = 100'000;
  constexpr std::int64_t kBatches = 4;
  Register("RecordEvent/orvel", RecordEvents<RecordWithOrvel>, kRecords)
      ->ThreadRange(1, 2)
      ->UseRealTime();
  Register("RecordEvent/floor", RecordEvents<RecordBare>, kRecords)
      ->ThreadRange(1, 2)
      ->UseRealTime();
  Register("RecordEventWithoutClock/orvel", RecordEventsWithFrozenClock<RecordWithOrvel>, kBatches)
      ->UseManualTime();
  Register("RecordEventWithoutClock/floor", RecordEventsWithFrozenClock<RecordBare>, kBatches)
      ->UseManualTime();
  Register("TracedScope/orvel", EnterAndLeaveTracedScope, kRecords)->UseRealTime();
  Register("TracedScope/two-recordings", RecordTwice, kRecords)->UseRealTime();
  return true;
}();

}  // namespace
