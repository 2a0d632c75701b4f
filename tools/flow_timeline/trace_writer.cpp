// SPDX-License-Identifier: MIT
#include "flow_timeline/trace_writer.h"

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "orvel/logging/event_codes.h"

namespace FlowTimeline {
namespace {

using Json = nlohmann::ordered_json;  // members keep the order in which they are written here

constexpr int kThreadsProcess = 1;
constexpr int kObjectsProcess = 2;

/// The group by which viewers filter.
const char* CategoryOf(const Record& record) {
  namespace EventCode = Orvel::Detail::EventCode;
  switch (record.kind) {
    case EventCode::kWarning:
      return "warning";
    case EventCode::kTimingPoint:
      return "timing";
    case EventCode::kConstruction:
    case EventCode::kDestruction:
      return "life";
    default:
      return Orvel::Detail::HoldsLabel(record.kind) ? "error" : "event";
  }
}

class TraceWriter {
 public:
  TraceWriter(const Timeline& timeline, std::ostream& stream)
      : timeline_(timeline), stream_(stream), instants_(timeline.GetDump().records.size()) {}

  void Write() {
    stream_ << "{\"displayTimeUnit\":\"ms\",\"otherData\":" << Text(DescribeDump())
            << ",\n\"traceEvents\":[";
    WriteName("process_name", kThreadsProcess, 0, "Threads");
    WriteName("process_name", kObjectsProcess, 0, "Objects and their states");
    for (const Thread& thread : timeline_.GetThreads()) WriteThread(thread);
    for (std::size_t i = 0; i < timeline_.GetLanes().size(); ++i) WriteLane(i);
    stream_ << "\n]}\n";
  }

 private:
  static std::string Text(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
  }

  [[nodiscard]] Json DescribeDump() const {
    const Dump& dump = timeline_.GetDump();
    Json json = {{"records", dump.records.size()},
                 {"skippedRecords", dump.skippedRecords},
                 {"strayLines", dump.strayLines},
                 {"movedRecords", timeline_.GetMovedRecords()},
                 {"isCut", dump.isCut},
                 {"holdsAnotherDump", dump.holdsAnother},
                 {"isRingFull", timeline_.IsRingFull()},
                 {"firstRecordTime", timeline_.GetFirstTime()}};
    if (dump.loggerTime) json["loggerTime"] = *dump.loggerTime;
    if (dump.loggerWallClock) json["loggerLocalTimeSince1970"] = *dump.loggerWallClock;
    return json;
  }

  void WriteEvent(const Json& json) {
    stream_ << (isFirst_ ? "\n" : ",\n") << Text(json);
    isFirst_ = false;
  }

  void WriteName(const char* what, int process, std::uint64_t track, const std::string& name) {
    WriteEvent({{"ph", "M"},
                {"name", what},
                {"pid", process},
                {"tid", track},
                {"args", {{"name", name}}}});
  }

  void WriteOrder(int process, std::uint64_t track, std::size_t order) {
    WriteEvent({{"ph", "M"},
                {"name", "thread_sort_index"},
                {"pid", process},
                {"tid", track},
                {"args", {{"sort_index", order}}}});
  }

  [[nodiscard]] std::int64_t Since(std::int64_t time) const {
    return time - timeline_.GetFirstTime();
  }

  /// Starts an event of a thread or track; times and durations are nanoseconds here.
  static Json Event(const char* phase, std::int64_t time, int process, std::uint64_t track) {
    return {{"ph", phase}, {"ts", ToMicroseconds(time)}, {"pid", process}, {"tid", track}};
  }

  static double ToMicroseconds(std::int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1000;
  }

  /// The first free nanosecond of a thread or track, at `time` or behind it. Dumps have whole
  /// microseconds, and viewers would have to guess how slices nest that begin and end in one.
  std::int64_t TakeInstant(std::int64_t time) {
    lastInstant_ = (std::max)(Since(time) * 1000, lastInstant_ + 1);
    return lastInstant_;
  }

  [[nodiscard]] std::string PlaceOf(const Record& record) const {
    return timeline_.GetText(record.className) + "::" + timeline_.GetText(record.point);
  }

  /// What viewers show with an event. They take scopes of one name and the same arguments for one
  /// function, so a scope has no more than its object.
  [[nodiscard]] Json ArgumentsOf(Index index) const {
    const Record& record = timeline_.GetRecord(index);
    Json json = {{"object", ObjectText(record.object)},
                 {"objectName", timeline_.GetText(record.objectName)}};
    const Role role = RoleOf(record.kind);
    if (role == Role::kScopeBegin || role == Role::kScopeEnd) return json;
    json["class"] = timeline_.GetText(record.className);
    json["function"] = timeline_.GetText(record.point);
    if (record.detail != kNoText) json["what"] = timeline_.GetText(record.detail);
    json["argument1"] = record.arg1;
    json["argument2"] = record.arg2;
    json["record"] = index;
    if (record.time != timeline_.GetTime(index)) json["recordedTime"] = Since(record.time);
    return json;
  }

  /// Writes a slice with its duration. Viewers differ in how an end finds its begin.
  void WriteSlice(Json event, std::int64_t duration) {
    event["dur"] = ToMicroseconds(duration);
    WriteEvent(event);
  }

  /// When something begins and ends.
  struct Span {
    std::int64_t start = 0, finish = 0;
  };

  void WriteScope(const Slice& slice, const Span& span, std::uint64_t track) {
    Json event = Event("X", span.start, kThreadsProcess, track);
    event["name"] = PlaceOf(timeline_.GetRecord(slice.record));
    event["cat"] = "scope";
    Json arguments = ArgumentsOf(slice.record);
    if (slice.kind == Slice::Kind::kOpen) arguments["note"] = "not left when the dump was made";
    if (slice.kind == Slice::Kind::kCutShort) arguments["note"] = "its end is missing";
    if (slice.kind == Slice::Kind::kEndOnly) {
      arguments["note"] = "its begin is missing";
      arguments["ended"] = Since(timeline_.GetTime(slice.end));
    }
    event["args"] = std::move(arguments);
    WriteSlice(std::move(event), span.finish - span.start);
  }

  void WriteThread(const Thread& thread) {
    const std::size_t order = threadsWritten_++;
    WriteName("thread_name", kThreadsProcess, thread.id, timeline_.GetText(thread.name));
    WriteOrder(kThreadsProcess, thread.id, order);
    const std::vector<Span> spans = PlaceRecords(thread);
    std::size_t slice = 0;
    const auto writeNextScope = [&] {
      WriteScope(thread.slices[slice], spans[slice], thread.id);
      ++slice;
    };
    while (slice < thread.slices.size() && thread.slices[slice].kind == Slice::Kind::kEndOnly) {
      writeNextScope();
    }
    for (const Index record : thread.records) {
      const Role role = RoleOf(timeline_.GetRecord(record).kind);
      if (role == Role::kScopeBegin) {
        writeNextScope();
      } else if (role == Role::kInstant) {
        WriteInstant(record, thread.id);
      } else if (role == Role::kSend || role == Role::kReceive) {
        WriteMessage(record, role, thread.id);
      }
    }
  }

  /// Gives each record of the thread its nanosecond, in instants_. Returns the spans of the slices.
  [[nodiscard]] std::vector<Span> PlaceRecords(const Thread& thread) {
    std::vector<Span> spans(thread.slices.size());
    std::vector<std::size_t> open;  // slices, the outermost first
    lastInstant_ = -1;
    std::size_t next = 0;
    for (; next < spans.size() && thread.slices[next].kind == Slice::Kind::kEndOnly; ++next) {
      spans[next].start = spans[next].finish = TakeInstant(thread.slices[next].start);
    }
    for (const Index record : thread.records) {
      const std::int64_t time = timeline_.GetTime(record);
      for (; !open.empty() && thread.slices[open.back()].end == record; open.pop_back()) {
        spans[open.back()].finish = TakeInstant(time);
      }
      if (RoleOf(timeline_.GetRecord(record).kind) == Role::kScopeEnd) continue;
      instants_[record] = TakeInstant(time);
      if (RoleOf(timeline_.GetRecord(record).kind) != Role::kScopeBegin) continue;
      spans[next].start = instants_[record];
      open.push_back(next++);
    }
    for (; !open.empty(); open.pop_back()) {
      spans[open.back()].finish = TakeInstant(timeline_.GetLastTime());
    }
    return spans;
  }

  [[nodiscard]] std::string NameOf(const Record& record) const {
    const bool hasDetail = record.detail != kNoText;
    return std::string(Orvel::Detail::EventText(record.kind)) + ' ' +
           (hasDetail ? timeline_.GetText(record.detail) : PlaceOf(record));
  }

  void WriteInstant(Index index, std::uint64_t track) {
    const Record& record = timeline_.GetRecord(index);
    Json event = Event("i", instants_[index], kThreadsProcess, track);
    event["name"] = NameOf(record);
    event["cat"] = CategoryOf(record);
    event["s"] = "t";
    event["args"] = ArgumentsOf(index);
    WriteEvent(event);
  }

  /// A flow starts and ends at a slice.
  void WriteMessage(Index index, Role role, std::uint64_t track) {
    Json event = Event("X", instants_[index], kThreadsProcess, track);
    event["name"] = NameOf(timeline_.GetRecord(index));
    event["cat"] = "message";
    event["args"] = ArgumentsOf(index);
    WriteSlice(std::move(event), 0);
    WriteFlow(index, role, track);
  }

  void WriteFlow(Index index, Role role, std::uint64_t track) {
    if (flows_.empty()) {
      flows_.resize(timeline_.GetDump().records.size(), kNoIndex);
      Index flow = 0;
      for (const Message& message : timeline_.GetMessages()) {
        flows_[message.send] = flows_[message.receive] = flow++;
      }
    }
    if (flows_[index] == kNoIndex) return;
    Json event = Event(role == Role::kSend ? "s" : "f", instants_[index], kThreadsProcess, track);
    event["name"] = timeline_.GetText(timeline_.GetRecord(index).detail);
    event["cat"] = "message";
    event["id"] = flows_[index];
    if (role == Role::kReceive) event["bp"] = "e";  // ends at the slice around it
    WriteEvent(event);
  }

  void WriteLane(std::size_t number) {
    const Lane& lane = timeline_.GetLanes()[number];
    WriteName("thread_name", kObjectsProcess, number + 1,
              timeline_.GetText(lane.className) + ' ' + ObjectText(lane.object) + " (" +
                  timeline_.GetText(lane.objectName) + ')');
    WriteOrder(kObjectsProcess, number + 1, number);
    lastInstant_ = -1;
    for (const StateSpan& state : lane.states) {
      const Record& record = timeline_.GetRecord(state.record);
      const std::int64_t start = TakeInstant(state.start);
      Json event = Event("X", start, kObjectsProcess, number + 1);
      event["name"] = timeline_.GetText(record.detail);
      event["cat"] = "state";
      event["args"] = {{"class", timeline_.GetText(record.className)},
                       {"state", record.arg1},
                       {"thread", record.threadId}};
      WriteSlice(std::move(event), TakeInstant(state.finish) - start);
    }
  }

  const Timeline& timeline_;
  std::ostream& stream_;
  std::vector<Index> flows_;            // by record, the number of its message
  std::vector<std::int64_t> instants_;  // by record, nanoseconds in its thread
  std::int64_t lastInstant_ = -1;       // the last one taken in the thread or track
  std::size_t threadsWritten_ = 0;
  bool isFirst_ = true;
};

}  // namespace

void WriteTrace(const Timeline& timeline, std::ostream& stream) {
  TraceWriter(timeline, stream).Write();
}

}  // namespace FlowTimeline
