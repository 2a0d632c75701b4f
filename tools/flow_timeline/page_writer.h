// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>

#include "flow_timeline/timeline.h"

namespace FlowTimeline {

/// Writes the timeline as one HTML page that needs no other file. `title` is UTF-8, the
/// dump's name for people. Texts of the dump appear only in the page's data, escaped so that they
/// cannot end it. Failures show in the stream's state.
void WritePage(const Timeline& timeline, const std::string& title, std::ostream& stream);

}  // namespace FlowTimeline
