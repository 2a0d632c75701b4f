// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "flow_timeline/dump_reader.h"

namespace FlowTimeline {

/// The number of an element in one of a timeline's lists.
using Index = std::uint32_t;
inline constexpr Index kNoIndex = (std::numeric_limits<Index>::max)();

/// How a record is shown on the page and in the trace.
enum class Role { kScopeBegin, kScopeEnd, kState, kInstant, kSend, kReceive };

[[nodiscard]] Role RoleOf(std::int32_t kind) noexcept;

/// A scope on its thread.
struct Slice {
  enum class Kind {
    kWhole,     ///< begin and end are in the dump
    kOpen,      ///< still open when the dump was made: ends at the last time
    kCutShort,  ///< its end is missing: ends together with the scope around it
    kEndOnly    ///< its begin is missing: has no width, at the thread's first record
  };
  Index record = kNoIndex;  ///< of its begin; of its end for `kEndOnly`
  Index end = kNoIndex;     ///< the record at which it ends, if there is one
  std::int64_t start = 0, finish = 0;
  std::uint32_t depth = 0;  ///< how many scopes are around it
  Kind kind = Kind::kWhole;
};

/// The time that an object spends in a state: up to the next change, to the object's destruction by
/// the class that has the states, or to the last time of the dump.
struct StateSpan {
  Index record = kNoIndex;
  std::int64_t start = 0, finish = 0;
};

/// The states of one object, as recorded by one of its classes.
struct Lane {
  std::uint64_t object = 0;
  TextId className = kNoText;
  TextId objectName = kNoText;
  std::vector<StateSpan> states{};
};

struct Thread {
  std::uint32_t id = 0;  ///< 0: records that name no thread
  TextId name = kNoText;
  std::vector<Index> records{};
  std::vector<Slice> slices{};  ///< in the order of their begins; those without begin come first
  std::uint32_t depth = 0;      ///< of its deepest scope, counted from 1; 0 without scopes
};

struct Message {
  Index send = kNoIndex;
  Index receive = kNoIndex;
};

/// The content of a dump, thread by thread and object by object. Immutable once built.
class Timeline {
 public:
  /// Borrows `dump`, which must outlive this object and must not change.
  ///
  /// A thread's records keep their order; a record that is earlier than its predecessor gets the
  /// predecessor's time. An end closes the innermost open scope of its class, point and object,
  /// and every scope that is open inside it. A receipt is joined to the oldest send of the same
  /// message and object that has none yet; what remains is then joined by the message alone.
  explicit Timeline(const Dump& dump);
  Timeline(const Timeline&) = delete;
  Timeline& operator=(const Timeline&) = delete;

  [[nodiscard]] const Dump& GetDump() const noexcept { return dump_; }
  [[nodiscard]] const Record& GetRecord(Index record) const { return dump_.records[record]; }
  [[nodiscard]] const std::string& GetText(TextId text) const { return dump_.texts[text]; }
  /// A record's time in microseconds, as all times here; later than in the dump where the order of
  /// its thread demands it.
  [[nodiscard]] std::int64_t GetTime(Index record) const { return times_[record]; }
  [[nodiscard]] std::int64_t GetFirstTime() const noexcept { return firstTime_; }
  [[nodiscard]] std::int64_t GetLastTime() const noexcept { return lastTime_; }
  /// In the order of their first records.
  [[nodiscard]] const std::vector<Thread>& GetThreads() const noexcept { return threads_; }
  [[nodiscard]] const std::vector<Lane>& GetLanes() const noexcept { return lanes_; }
  [[nodiscard]] const std::vector<Message>& GetMessages() const noexcept { return messages_; }
  /// How many records have another time than in the dump.
  [[nodiscard]] std::size_t GetMovedRecords() const noexcept { return movedRecords_; }
  /// Whether the dump is that of a full ring, in which older records were overwritten.
  [[nodiscard]] bool IsRingFull() const noexcept;

 private:
  void SortIntoThreads();
  void NestScopes(Thread& thread);
  void FollowStates();
  void JoinMessages();
  template <class GetKey>
  void JoinMessages(std::vector<bool>& isJoined, GetKey getKey);

  const Dump& dump_;
  std::vector<std::int64_t> times_;  // of records
  std::int64_t firstTime_ = 0, lastTime_ = 0;
  std::vector<Thread> threads_;
  std::vector<Lane> lanes_;
  std::vector<Message> messages_;
  std::size_t movedRecords_ = 0;
};

}  // namespace FlowTimeline
