// SPDX-License-Identifier: MIT
#include "flow_timeline/event_text.h"

#include <algorithm>

#include "orvel/logging/event_codes.h"

namespace FlowTimeline {

std::string_view EventText(std::int32_t kind) noexcept {
  const auto entry =
      std::find_if(Orvel::Detail::kEventNames.begin(), Orvel::Detail::kEventNames.end(),
                   [kind](const Orvel::Detail::EventName& name) { return name.code == kind; });
  return entry != Orvel::Detail::kEventNames.end() ? entry->name : "unknown event";
}

std::string ObjectText(std::uint64_t object) {
  std::string text(16, '0');
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit, object >>= 4) {
    *digit = "0123456789ABCDEF"[object & 0xF];
  }
  return text;
}

bool IsErrorOrWarning(std::int32_t kind) noexcept {
  return kind >= Orvel::Detail::EventCode::kRootError && kind <= Orvel::Detail::EventCode::kWarning;
}

}  // namespace FlowTimeline
