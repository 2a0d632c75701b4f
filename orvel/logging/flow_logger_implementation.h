// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "orvel/logging/event_ring.h"
#include "orvel/logging/flow_names.h"
#include "orvel/platform/clocks.h"
#include "orvel/platform/critical_section.h"

/// What a flow logger stores: the ring of records, the tables of names and when it was built; and
/// the locks under which it is dumped. Code that logs goes through `flowLogger()`; this class is
/// for the adapter and for loggers of a program's own.
///
/// Thread-safe.
class MFlowLoggerImplementation {
 public:
  /// Allocates the ring, about 5 MB, and starts recording. Raises `std::bad_alloc`.
  MFlowLoggerImplementation();
  MFlowLoggerImplementation(const MFlowLoggerImplementation&) = delete;
  MFlowLoggerImplementation& operator=(const MFlowLoggerImplementation&) = delete;

  /// Records one event under the code `kind`. See `MFlowLogger::logEvent` for the rest.
  void Record(std::int32_t kind, std::int32_t arg1, std::int32_t arg2, std::int32_t classId,
              std::int32_t pointId, std::uint64_t object) noexcept {
    ring_.Record(kind, arg1, arg2, classId, pointId, object);
  }

  /// See `MFlowLogger::dump`.
  void Dump(std::ostream& stream) noexcept;

  /// What is missing from a dump for a crash report, because a thread that may never run again
  /// holds a lock, or because writing failed.
  struct CrashDumpGaps {
    bool names = false;  ///< the names of one or more tables: they are shown as unknown
    bool order = false;  ///< another dump is under way: records that it has shown may be missing
    bool rest = false;   ///< what follows the point where the stream or the memory failed
  };
  /// Dumps for a crash report: as `Dump` does, but waits for no lock longer than `timeoutMs`
  /// milliseconds. A dump that another thread is writing continues and keeps its records.
  CrashDumpGaps DumpForCrash(std::ostream& stream, std::uint32_t timeoutMs) noexcept;
  /// Appends the name of a thread to `text`. Returns false when the thread has no name, or when the
  /// table of names stays locked for `timeoutMs` milliseconds. Raises `std::bad_alloc`.
  bool AppendThreadName(std::uint32_t threadId, std::string& text, std::uint32_t timeoutMs) const;

  /// Returns the text of the record in slot `index`: two lines without a line feed at the end, with
  /// times relative to the counter value `reference`. The text is empty for an empty slot, and
  /// "*OUT OF BOUNDS*" for an index past the ring.
  [[nodiscard]] std::string FormatRecord(std::uint32_t index, std::int64_t reference) const;

  /// Returns a difference of performance counters as seconds with six decimals, cut off and not
  /// rounded.
  [[nodiscard]] std::string FormatTime(std::int64_t ticks) const;

  ///@{
  /// Registration of names; see `MDiagnosticsRegistry`.
  void NameLabel(std::int32_t id, const wchar_t* name) noexcept { names_.labels.Add(id, name); }
  void NameObject(std::uint64_t object, const wchar_t* name) noexcept {
    names_.objects.Add(object, name);
  }
  void NameThread(std::uint32_t threadId, const wchar_t* name) noexcept {
    names_.threads.Add(threadId, name);
  }
  void NameState(std::int32_t classId, std::int32_t state, const wchar_t* name) noexcept {
    names_.statesAndMessages.Add(StateKey(classId, state), name);
  }
  void NameMessage(std::int32_t id, const wchar_t* name) noexcept {
    names_.statesAndMessages.Add(id, name);
  }
  ///@}

  /// Adds every name registered here to `other`, which keeps the names that it already has and must
  /// not be this object. Two loggers may copy into each other at the same time.
  void CopyNamesInto(MFlowLoggerImplementation& other) const noexcept {
    names_.CopyInto(other.names_);
  }

  /// Returns the key of a class's state in the table that states share with messages: the class's
  /// identifier times 100 plus the state, wrapping as unsigned numbers do.
  [[nodiscard]] static constexpr std::int32_t StateKey(std::int32_t classId,
                                                       std::int32_t state) noexcept {
    return Orvel::Detail::FlowNames::StateKey(classId, state);
  }

 private:
  friend class MKLoggerAdapter;  // records into the ring without a way round through here

  Orvel::Detail::FlowNames names_;
  Orvel::Detail::CriticalSection dumpSection_;  // one dump at a time
  const Orvel::Detail::ClockReference clock_;   // when this logger was built
  Orvel::Detail::EventRing ring_;
};
