// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "orvel/logging/event_ring.h"
#include "orvel/logging/flow_names.h"
#include "orvel/platform/clocks.h"

namespace Orvel::Detail {

/// The tables of names that a dump may look into. A crash report leaves out those whose lock it
/// cannot get.
struct ReadableNames {
  bool threads = true;
  bool labels = true;
  bool statesAndMessages = true;
  bool objects = true;

  [[nodiscard]] bool AreAll() const noexcept {
    return threads && labels && statesAndMessages && objects;
  }
};

/// Writes flow records as text: two lines a record, the first one for people, with names, the
/// second one with the bare values.
///
/// Thread-compatible. Borrows the names and the clock.
class FlowDumpWriter {
 public:
  FlowDumpWriter(const FlowNames& names, const ClockReference& clock,
                 const ReadableNames& readable = {}) noexcept
      : names_(names), clock_(clock), readable_(readable) {}

  /// Stops the ring's recording and writes a header and all records, the oldest first. Returns
  /// false when the stream failed. Raises what the stream raises, and `std::bad_alloc`.
  [[nodiscard]] bool Write(EventRing& ring, std::ostream& stream) const;

  /// Returns the text of a record without a line feed at its end, with times relative to the
  /// counter value `reference`; empty for an empty record.
  [[nodiscard]] std::string FormatRecord(const EventRecord& record, std::int64_t reference) const;

  /// Returns a difference of performance counters as seconds with six decimals, cut off and not
  /// rounded.
  [[nodiscard]] std::string FormatTime(std::int64_t ticks) const;

 private:
  [[nodiscard]] std::string FormatHeader(std::int64_t reference) const;
  void AppendArguments(const EventRecord& record, std::string& text) const;
  void AppendPlace(const EventRecord& record, std::string& text) const;
  void AppendObjectAndThread(const EventRecord& record, std::string& text) const;
  bool AppendLabel(std::int32_t label, std::string& text) const;
  bool AppendStateOrMessage(std::int32_t key, std::string& text) const;

  const FlowNames& names_;
  const ClockReference& clock_;
  const ReadableNames readable_;
};

}  // namespace Orvel::Detail
