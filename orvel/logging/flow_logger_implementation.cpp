// SPDX-License-Identifier: MIT
#include "orvel/logging/flow_logger_implementation.h"

#include <mutex>
#include <ostream>

#include "orvel/logging/flow_dump_writer.h"

using Orvel::Detail::EventRing;
using Orvel::Detail::FlowDumpWriter;

MFlowLoggerImplementation::MFlowLoggerImplementation()
    : clock_{Orvel::Detail::ReadPerformanceFrequency(), Orvel::Detail::ReadPerformanceCounter(),
             Orvel::Detail::ReadWallClock()} {}

void MFlowLoggerImplementation::Dump(std::ostream& stream) noexcept {
  // The stream is foreign code and runs under this lock: it keeps dumps apart and nothing else.
  // The lock is recursive, so a stream that itself starts a dump does no harm.
  const std::scoped_lock lock(dumpSection_);
  if (!stream.good()) return;
  try {
    if (!FlowDumpWriter(names_, clock_).Write(ring_, stream)) return;
  } catch (...) {
    // Whatever the stream threw, the records stay and recording stays off: the next dump that
    // runs to its end shows them.
    return;
  }
  ring_.RestartRecording();
}

MFlowLoggerImplementation::CrashDumpGaps MFlowLoggerImplementation::DumpForCrash(
    std::ostream& stream, std::uint32_t timeoutMs) noexcept {
  CrashDumpGaps gaps;
  // The tables' locks stay held, so that no look-up waits for one.
  const std::unique_lock threads = names_.threads.TryLockFor(timeoutMs);
  const std::unique_lock labels = names_.labels.TryLockFor(timeoutMs);
  const std::unique_lock states = names_.statesAndMessages.TryLockFor(timeoutMs);
  const std::unique_lock objects = names_.objects.TryLockFor(timeoutMs);
  const Orvel::Detail::ReadableNames readable{threads.owns_lock(), labels.owns_lock(),
                                              states.owns_lock(), objects.owns_lock()};
  gaps.names = !readable.AreAll();
  const std::unique_lock dump = Orvel::Detail::TryLockFor(dumpSection_, timeoutMs);
  gaps.order = !dump.owns_lock();
  try {
    gaps.rest = !FlowDumpWriter(names_, clock_, readable).Write(ring_, stream);
  } catch (...) {
    gaps.rest = true;
  }
  // Even when the stream failed: if the process continues, it must keep recording.
  if (dump.owns_lock()) ring_.RestartRecording();
  return gaps;
}

bool MFlowLoggerImplementation::AppendThreadName(std::uint32_t threadId, std::string& text,
                                                 std::uint32_t timeoutMs) const {
  const std::unique_lock lock = names_.threads.TryLockFor(timeoutMs);
  return lock.owns_lock() && names_.threads.AppendName(threadId, text);
}

std::string MFlowLoggerImplementation::FormatRecord(std::uint32_t index,
                                                    std::int64_t reference) const {
  if (index >= EventRing::kCapacity) return "*OUT OF BOUNDS*";
  return FlowDumpWriter(names_, clock_).FormatRecord(ring_.Read(index), reference);
}

std::string MFlowLoggerImplementation::FormatTime(std::int64_t ticks) const {
  return FlowDumpWriter(names_, clock_).FormatTime(ticks);
}
