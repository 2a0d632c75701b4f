// SPDX-License-Identifier: MIT
#include "flow_timeline/trace_writer.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "flow_timeline/event_text.h"
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
      return IsErrorOrWarning(record.kind) ? "error" : "event";
  }
}

class TraceWriter {
 public:
  TraceWriter(const Timeline& timeline, std::ostream& stream)
      : timeline_(timeline), stream_(stream) {}

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

  [[nodiscard]] Json Event(const char* phase, std::int64_t time, int process,
                           std::uint64_t track) const {
    return {{"ph", phase}, {"ts", Since(time)}, {"pid", process}, {"tid", track}};
  }

  [[nodiscard]] std::string PlaceOf(const Record& record) const {
    return timeline_.GetText(record.className) + "::" + timeline_.GetText(record.point);
  }

  [[nodiscard]] Json ArgumentsOf(Index index) const {
    const Record& record = timeline_.GetRecord(index);
    Json json = {{"record", index},
                 {"class", timeline_.GetText(record.className)},
                 {"function", timeline_.GetText(record.point)},
                 {"object", ObjectText(record.object)},
                 {"objectName", timeline_.GetText(record.objectName)}};
    if (record.detail != kNoText) json["what"] = timeline_.GetText(record.detail);
    const Role role = RoleOf(record.kind);
    if ((role != Role::kScopeBegin && role != Role::kScopeEnd) || record.arg1 != 0 ||
        record.arg2 != 0) {
      json["argument1"] = record.arg1;
      json["argument2"] = record.arg2;
    }
    if (record.time != timeline_.GetTime(index)) json["recordedTime"] = Since(record.time);
    return json;
  }

  void WriteBegin(const Slice& slice, std::uint64_t track) {
    const Record& record = timeline_.GetRecord(slice.record);
    Json event = Event("B", slice.start, kThreadsProcess, track);
    event["name"] = PlaceOf(record);
    event["cat"] = "scope";
    Json arguments = ArgumentsOf(slice.record);
    if (slice.kind == Slice::Kind::kOpen) arguments["note"] = "not left when the dump was made";
    if (slice.kind == Slice::Kind::kCutShort) arguments["note"] = "its end is missing";
    if (slice.kind == Slice::Kind::kEndOnly) {
      arguments["note"] = "its begin is missing";
      arguments["ended"] = Since(timeline_.GetTime(slice.end));
    }
    event["args"] = std::move(arguments);
    WriteEvent(event);
  }

  void WriteEnd(std::int64_t time, std::uint64_t track) {
    WriteEvent(Event("E", time, kThreadsProcess, track));
  }

  void WriteThread(const Thread& thread) {
    const std::size_t order = threadsWritten_++;
    WriteName("thread_name", kThreadsProcess, thread.id, timeline_.GetText(thread.name));
    WriteOrder(kThreadsProcess, thread.id, order);
    std::vector<const Slice*> open;
    auto slice = thread.slices.begin();
    for (; slice != thread.slices.end() && slice->kind == Slice::Kind::kEndOnly; ++slice) {
      WriteBegin(*slice, thread.id);
      WriteEnd(slice->finish, thread.id);
    }
    for (const Index record : thread.records) {
      const Role role = RoleOf(timeline_.GetRecord(record).kind);
      if (role == Role::kScopeBegin) {
        WriteBegin(*slice, thread.id);
        open.push_back(&*slice++);
      } else if (role == Role::kScopeEnd) {
        for (; !open.empty() && open.back()->end == record; open.pop_back()) {
          WriteEnd(open.back()->finish, thread.id);
        }
      } else if (role != Role::kState) {
        WriteInstant(record, role, thread.id);
      }
    }
    for (; !open.empty(); open.pop_back()) WriteEnd(open.back()->finish, thread.id);
  }

  void WriteInstant(Index index, Role role, std::uint64_t track) {
    const Record& record = timeline_.GetRecord(index);
    const std::int64_t time = timeline_.GetTime(index);
    std::string name(EventText(record.kind));
    name += ' ' + (record.detail != kNoText ? timeline_.GetText(record.detail) : PlaceOf(record));
    // A flow starts and ends at a slice.
    const bool isMessage = role != Role::kInstant;
    Json event = Event(isMessage ? "B" : "i", time, kThreadsProcess, track);
    event["name"] = std::move(name);
    event["cat"] = isMessage ? "message" : CategoryOf(record);
    if (!isMessage) event["s"] = "t";
    event["args"] = ArgumentsOf(index);
    WriteEvent(event);
    if (!isMessage) return;
    WriteFlow(index, role, track);
    WriteEnd(time, track);
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
    Json event =
        Event(role == Role::kSend ? "s" : "f", timeline_.GetTime(index), kThreadsProcess, track);
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
    for (const StateSpan& state : lane.states) {
      Json event = Event("B", state.start, kObjectsProcess, number + 1);
      event["name"] = timeline_.GetText(timeline_.GetRecord(state.record).detail);
      event["cat"] = "state";
      event["args"] = ArgumentsOf(state.record);
      event["args"]["thread"] = timeline_.GetRecord(state.record).threadId;
      WriteEvent(event);
      WriteEvent(Event("E", state.finish, kObjectsProcess, number + 1));
    }
  }

  const Timeline& timeline_;
  std::ostream& stream_;
  std::vector<Index> flows_;  // by record, the number of its message
  std::size_t threadsWritten_ = 0;
  bool isFirst_ = true;
};

}  // namespace

void WriteTrace(const Timeline& timeline, std::ostream& stream) {
  TraceWriter(timeline, stream).Write();
}

}  // namespace FlowTimeline
