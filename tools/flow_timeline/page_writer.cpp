// SPDX-License-Identifier: MIT
#include "flow_timeline/page_writer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "flow_timeline/page_files.h"
#include "orvel/logging/event_codes.h"
#include "orvel/logging/event_ring.h"

namespace FlowTimeline {
namespace {

using Json = nlohmann::ordered_json;
using Column = std::vector<std::int64_t>;

/// Each value less the one before it: fewer digits, and the page adds them up again.
class DeltaColumn {
 public:
  void Add(std::int64_t value) {
    values_.push_back(value - last_);
    last_ = value;
  }
  [[nodiscard]] const Column& Get() const noexcept { return values_; }

 private:
  Column values_;
  std::int64_t last_ = 0;
};

/// The timeline in columns, as page/data.js reads them.
class PageData {
 public:
  PageData(const Timeline& timeline, const std::string& title)
      : timeline_(timeline), title_(title) {}

  [[nodiscard]] Json Build() {
    Json json;
    json["title"] = title_;
    json["head"] = DescribeDump();
    json["records"] = BuildRecords();  // fills the tables that follow
    json["threads"] = BuildThreads();
    json["lanes"] = BuildLanes();
    json["messages"] = BuildMessages();
    json["objects"] = objects_;
    json["shapes"] = shapes_;
    json["events"] = events_;
    json["texts"] = timeline_.GetDump().texts.GetTexts();
    return json;
  }

 private:
  [[nodiscard]] Json DescribeDump() const {
    const Dump& dump = timeline_.GetDump();
    Json json = {{"capacity", Orvel::Detail::EventRing::kCapacity},
                 {"skippedRecords", dump.skippedRecords},
                 {"strayLines", dump.strayLines},
                 {"movedRecords", timeline_.GetMovedRecords()},
                 {"hasHead", dump.hasHead},
                 {"isCut", dump.isCut},
                 {"holdsAnother", dump.holdsAnother},
                 {"isRingFull", timeline_.IsRingFull()},
                 {"firstTime", timeline_.GetFirstTime()},
                 {"lastTime", timeline_.GetLastTime()},
                 {"loggerTime", nullptr},
                 {"loggerWallClock", nullptr}};
    if (dump.loggerTime) json["loggerTime"] = *dump.loggerTime;
    if (dump.loggerWallClock) json["loggerWallClock"] = *dump.loggerWallClock;
    return json;
  }

  [[nodiscard]] Json BuildRecords() {
    const std::vector<Record>& records = timeline_.GetDump().records;
    std::unordered_map<std::uint32_t, Index> threads;
    for (const Thread& thread : timeline_.GetThreads()) {
      threads.emplace(thread.id, static_cast<Index>(threads.size()));
    }
    DeltaColumn times;
    Column shapes;
    Column arguments1;
    Column arguments2;
    Json moved = Json::array();
    for (Index i = 0; i < records.size(); ++i) {
      const Record& record = records[i];
      times.Add(timeline_.GetTime(i));
      shapes.push_back(ShapeOf(record, threads.at(record.threadId)));
      arguments1.push_back(record.arg1);
      arguments2.push_back(record.arg2);
      if (record.time != timeline_.GetTime(i)) moved.push_back({i, record.time});
    }
    return {{"time", times.Get()},
            {"shape", shapes},
            {"argument1", arguments1},
            {"argument2", arguments2},
            {"moved", moved}};
  }

  /// What many records have in common.
  [[nodiscard]] std::int64_t ShapeOf(const Record& record, Index thread) {
    const auto [object, isNewObject] =
        objectNumbers_.try_emplace(record.object, static_cast<std::int64_t>(objectNumbers_.size()));
    if (isNewObject) objects_.push_back({ObjectText(record.object), record.objectName});
    const auto [event, isNewEvent] =
        eventNumbers_.try_emplace(record.kind, static_cast<std::int64_t>(eventNumbers_.size()));
    if (isNewEvent) events_.push_back({record.kind, Orvel::Detail::EventText(record.kind)});
    const std::array<std::int64_t, 8> key = {event->second,  record.classId, record.className,
                                             record.pointId, record.point,   object->second,
                                             thread,         record.detail};
    const auto [shape, isNewShape] =
        shapeNumbers_.try_emplace(key, static_cast<std::int64_t>(shapeNumbers_.size()));
    if (isNewShape) shapes_.push_back(key);
    return shape->second;
  }

  [[nodiscard]] Json BuildThreads() const {
    Json json = Json::array();
    for (const Thread& thread : timeline_.GetThreads()) {
      DeltaColumn records;
      Column ends;
      Column durations;
      Column depths;
      Column kinds;
      for (const Slice& slice : thread.slices) {
        records.Add(slice.record);
        ends.push_back(slice.end == kNoIndex ? 0
                                             : static_cast<std::int64_t>(slice.end) - slice.record);
        durations.push_back(slice.finish - slice.start);
        depths.push_back(slice.depth);
        kinds.push_back(static_cast<int>(slice.kind));
      }
      json.push_back({{"id", thread.id},
                      {"name", thread.name},
                      {"depth", thread.depth},
                      {"start", timeline_.GetTime(thread.records.front())},
                      {"record", records.Get()},
                      {"end", ends},
                      {"duration", durations},
                      {"level", depths},
                      {"kind", kinds}});
    }
    return json;
  }

  [[nodiscard]] Json BuildLanes() const {
    Json json = Json::array();
    for (const Lane& lane : timeline_.GetLanes()) {
      DeltaColumn records;
      Column durations;
      for (const StateSpan& state : lane.states) {
        records.Add(state.record);
        durations.push_back(state.finish - state.start);
      }
      json.push_back({{"class", lane.className},
                      {"object", objectNumbers_.at(lane.object)},
                      {"record", records.Get()},
                      {"duration", durations}});
    }
    return json;
  }

  [[nodiscard]] Json BuildMessages() const {
    DeltaColumn sends;
    Column receives;
    for (const Message& message : timeline_.GetMessages()) {
      sends.Add(message.send);
      receives.push_back(static_cast<std::int64_t>(message.receive) - message.send);
    }
    return {{"send", sends.Get()}, {"receive", receives}};
  }

  const Timeline& timeline_;
  const std::string& title_;
  std::unordered_map<std::uint64_t, std::int64_t> objectNumbers_;
  std::unordered_map<std::int32_t, std::int64_t> eventNumbers_;
  std::map<std::array<std::int64_t, 8>, std::int64_t> shapeNumbers_;
  Json objects_ = Json::array();
  Json events_ = Json::array();
  Json shapes_ = Json::array();
};

/// JSON as the text of a script element: no "</script>" and no "<!--" can stand in it.
void WriteEscaped(std::string_view json, std::ostream& stream) {
  for (;;) {
    const std::size_t end = json.find('<');
    stream << json.substr(0, end);
    if (end == std::string_view::npos) return;
    stream << "\\u003c";
    json.remove_prefix(end + 1);
  }
}

}  // namespace

void WritePage(const Timeline& timeline, const std::string& title, std::ostream& stream) {
  std::string_view rest = kPageHtml;
  // "{{NAME}}" in the page's frame stands for what is put there.
  for (;;) {
    const std::size_t start = rest.find("{{");
    stream << rest.substr(0, start);
    if (start == std::string_view::npos) return;
    const std::size_t end = rest.find("}}", start);
    const std::string_view name = rest.substr(start + 2, end - start - 2);
    rest.remove_prefix(end + 2);
    if (name == "STYLE") stream << kPageStyle;
    if (name == "SCRIPT") stream << kPageScript;
    if (name == "STYLE_HASH") stream << kPageStyleHash;
    if (name == "SCRIPT_HASH") stream << kPageScriptHash;
    if (name == "DATA") {
      WriteEscaped(
          PageData(timeline, title).Build().dump(-1, ' ', true, Json::error_handler_t::replace),
          stream);
    }
  }
}

}  // namespace FlowTimeline
