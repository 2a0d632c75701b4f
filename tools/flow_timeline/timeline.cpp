// SPDX-License-Identifier: MIT
#include "flow_timeline/timeline.h"

#include <algorithm>
#include <deque>
#include <map>
#include <numeric>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "orvel/logging/event_codes.h"
#include "orvel/logging/event_ring.h"

namespace FlowTimeline {
namespace {

namespace EventCode = Orvel::Detail::EventCode;

using ScopeKey = std::tuple<std::int32_t, std::int32_t, std::uint64_t>;

ScopeKey KeyOf(const Record& record) { return {record.classId, record.pointId, record.object}; }

}  // namespace

Role RoleOf(std::int32_t kind) noexcept {
  switch (kind) {
    case EventCode::kScopePush:
      return Role::kScopeBegin;
    case EventCode::kScopePop:
      return Role::kScopeEnd;
    case EventCode::kStateChange:
      return Role::kState;
    case EventCode::kMessageSend:
      return Role::kSend;
    case EventCode::kMessageReceive:
      return Role::kReceive;
    default:
      return Role::kInstant;
  }
}

Timeline::Timeline(const Dump& dump) : dump_(dump) {
  SortIntoThreads();
  for (Thread& thread : threads_) NestScopes(thread);
  FollowStates();
  JoinMessages();
}

bool Timeline::IsRingFull() const noexcept {
  return dump_.records.size() + dump_.skippedRecords >= Orvel::Detail::EventRing::kCapacity;
}

void Timeline::SortIntoThreads() {
  std::unordered_map<std::uint32_t, std::size_t> numbers;  // of threads, by their ids
  times_.reserve(dump_.records.size());
  for (Index i = 0; i < dump_.records.size(); ++i) {
    const Record& record = dump_.records[i];
    const auto [number, isNew] = numbers.try_emplace(record.threadId, threads_.size());
    if (isNew) threads_.push_back({.id = record.threadId, .name = record.threadName});
    Thread& thread = threads_[number->second];
    std::int64_t time = record.time;
    if (!thread.records.empty() && time < times_[thread.records.back()]) {
      time = times_[thread.records.back()];
      ++movedRecords_;
    }
    times_.push_back(time);
    thread.records.push_back(i);
  }
  if (times_.empty()) return;
  const auto [first, last] = std::minmax_element(times_.begin(), times_.end());
  firstTime_ = *first;
  lastTime_ = *last;
}

void Timeline::NestScopes(Thread& thread) {
  std::vector<Slice> withoutBegin;
  std::vector<std::size_t> open;         // slices, the outermost first
  std::map<ScopeKey, std::size_t> keys;  // how often each is open
  const std::int64_t threadStart = times_[thread.records.front()];
  for (const Index i : thread.records) {
    const Record& record = dump_.records[i];
    const Role role = RoleOf(record.kind);
    if (role == Role::kScopeBegin) {
      const auto depth = static_cast<std::uint32_t>(open.size());
      open.push_back(thread.slices.size());
      ++keys[KeyOf(record)];
      thread.slices.push_back({.record = i,
                               .start = times_[i],
                               .finish = lastTime_,
                               .depth = depth,
                               .kind = Slice::Kind::kOpen});
      thread.depth = (std::max)(thread.depth, depth + 1);
    } else if (role == Role::kScopeEnd) {
      const ScopeKey key = KeyOf(record);
      const auto count = keys.find(key);
      if (count == keys.end() || count->second == 0) {
        withoutBegin.push_back({.record = i,
                                .end = i,
                                .start = threadStart,
                                .finish = threadStart,
                                .kind = Slice::Kind::kEndOnly});
        thread.depth = (std::max)(thread.depth, 1u);
        continue;
      }
      for (bool isOwn = false; !isOwn; open.pop_back()) {
        Slice& slice = thread.slices[open.back()];
        const ScopeKey sliceKey = KeyOf(dump_.records[slice.record]);
        isOwn = sliceKey == key;
        slice.kind = isOwn ? Slice::Kind::kWhole : Slice::Kind::kCutShort;
        slice.end = i;
        slice.finish = times_[i];
        --keys[sliceKey];
      }
    }
  }
  thread.slices.insert(thread.slices.begin(), withoutBegin.begin(), withoutBegin.end());
}

void Timeline::FollowStates() {
  // Records of several threads concern one object, and stand in the order of their slots.
  std::vector<Index> order(dump_.records.size());
  std::iota(order.begin(), order.end(), Index{0});
  std::stable_sort(order.begin(), order.end(),
                   [this](Index left, Index right) { return times_[left] < times_[right]; });
  std::map<std::pair<std::uint64_t, std::int32_t>, Index> numbers;  // of lanes
  std::vector<bool> isInState;                                      // by lane
  for (const Index i : order) {
    const Record& record = dump_.records[i];
    const bool isChange = record.kind == EventCode::kStateChange;
    if (!isChange && record.kind != EventCode::kDestruction) continue;
    const std::pair key(record.object, record.classId);
    auto number = numbers.find(key);
    if (number == numbers.end()) {
      if (!isChange) continue;
      number = numbers.emplace(key, static_cast<Index>(lanes_.size())).first;
      lanes_.push_back({.object = record.object,
                        .className = record.className,
                        .objectName = record.objectName});
      isInState.push_back(false);
    }
    Lane& lane = lanes_[number->second];
    if (isInState[number->second]) lane.states.back().finish = times_[i];
    if (isChange) {
      lane.states.push_back({.record = i, .start = times_[i], .finish = lastTime_});
    }
    isInState[number->second] = isChange;
  }
}

template <class GetKey>
void Timeline::JoinMessages(std::vector<bool>& isJoined, GetKey getKey) {
  std::map<decltype(getKey(std::declval<const Record&>())), std::deque<Index>> sent;
  for (Index i = 0; i < dump_.records.size(); ++i) {
    const Record& record = dump_.records[i];
    const Role role = RoleOf(record.kind);
    if ((role != Role::kSend && role != Role::kReceive) || isJoined[i]) continue;
    std::deque<Index>& waiting = sent[getKey(record)];
    if (role == Role::kSend) {
      waiting.push_back(i);
    } else if (!waiting.empty()) {
      messages_.push_back({.send = waiting.front(), .receive = i});
      isJoined[i] = isJoined[waiting.front()] = true;
      waiting.pop_front();
    }
  }
}

void Timeline::JoinMessages() {
  std::vector<bool> isJoined(dump_.records.size());
  JoinMessages(isJoined,
               [](const Record& record) { return std::pair(record.arg1, record.object); });
  // Some record the sender with a send and the receiver with the receipt.
  JoinMessages(isJoined, [](const Record& record) { return record.arg1; });
  std::sort(messages_.begin(), messages_.end(),
            [](const Message& left, const Message& right) { return left.send < right.send; });
}

}  // namespace FlowTimeline
