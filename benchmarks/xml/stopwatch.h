// SPDX-License-Identifier: MIT
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>

/// Short, so that some repetitions have the machine for themselves.
inline constexpr double kSecondsPerRepetition = 0.01;

/// Times a part of an iteration, from its construction to Stop(), for benchmarks with manual time:
/// what is prepared before and destroyed afterwards is left out.
class Stopwatch {
 public:
  explicit Stopwatch(benchmark::State& state) : state_(state) {}

  void Stop() {
    const std::chrono::duration<double> elapsed = Clock::now() - start_;
    state_.SetIterationTime(elapsed.count());
  }

 private:
  using Clock = std::chrono::steady_clock;

  benchmark::State& state_;
  const Clock::time_point start_ = Clock::now();
};
