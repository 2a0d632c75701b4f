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
void RecordEventsWithFrozenClock(benchmark::State& state) {
  for (auto _ : state) {
    const FrozenClock clock;
    for (std::int64_t left = kRecordsPerBatch; left > 0; --left) record();
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

}  // namespace

BENCHMARK(RecordEvents<RecordWithOrvel>)
    ->Name("RecordEvent/orvel")
    ->ThreadRange(1, 2)
    ->UseRealTime();
BENCHMARK(RecordEvents<RecordBare>)->Name("RecordEvent/floor")->ThreadRange(1, 2)->UseRealTime();

BENCHMARK(RecordEventsWithFrozenClock<RecordWithOrvel>)
    ->Name("RecordEventWithoutClock/orvel")
    ->UseManualTime();
BENCHMARK(RecordEventsWithFrozenClock<RecordBare>)
    ->Name("RecordEventWithoutClock/floor")
    ->UseManualTime();

BENCHMARK(EnterAndLeaveTracedScope)->Name("TracedScope/orvel")->UseRealTime();
BENCHMARK(RecordTwice)->Name("TracedScope/two-recordings")->UseRealTime();
