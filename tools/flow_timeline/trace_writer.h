// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>

#include "flow_timeline/timeline.h"

namespace FlowTimeline {

/// Writes the timeline as trace-event JSON (the "JSON Object Format"), UTF-8 on one line per
/// event. Times are microseconds since the first record. Process 1 holds the threads, process 2
/// a track for each object that changes its state. Scopes and states are complete events, properly
/// nested; within a thread or track the events are in order of time. Failures show in the stream's
/// state.
void WriteTrace(const Timeline& timeline, std::ostream& stream);

}  // namespace FlowTimeline
