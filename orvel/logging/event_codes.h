// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Orvel::Detail {

/// Codes under which events stand in the ring. Most are reached through an `MFlowEvent`; the two
/// module codes are recorded by attaching and detaching. `kNotify`, `kUpdate` and
/// `kTimingPointAlias` are never recorded and only have names.
///
/// Those from `kRootError` to `kWarning` have a label as their first argument (`HoldsLabel`), so no
/// other kind may have a code in this range.
namespace EventCode {
inline constexpr std::int32_t kLogModuleAdded = -202;
inline constexpr std::int32_t kLogModuleRemoved = -201;
inline constexpr std::int32_t kRootError = -105;
inline constexpr std::int32_t kCascadeError = -104;
inline constexpr std::int32_t kDismissedError = -103;
inline constexpr std::int32_t kReturnError = -102;
inline constexpr std::int32_t kWarning = -101;
inline constexpr std::int32_t kStateChange = -25;
inline constexpr std::int32_t kNotify = -23;
inline constexpr std::int32_t kUpdate = -22;
inline constexpr std::int32_t kMessageSend = -21;
inline constexpr std::int32_t kMessageReceive = -20;
inline constexpr std::int32_t kConstruction = -14;
inline constexpr std::int32_t kDestruction = -13;
inline constexpr std::int32_t kScopePop = -8;
inline constexpr std::int32_t kScopePush = -7;
inline constexpr std::int32_t kTimingPointAlias = -1;
inline constexpr std::int32_t kTimingPoint = 0;
}  // namespace EventCode

/// Code recorded for each value of `MFlowEvent`, by its number.
inline constexpr std::array<std::int32_t, 14> kCodeOfEvent = {
    EventCode::kTimingPoint,    EventCode::kRootError,     EventCode::kCascadeError,
    EventCode::kDismissedError, EventCode::kConstruction,  EventCode::kDestruction,
    EventCode::kStateChange,    EventCode::kScopePush,     EventCode::kScopePop,
    EventCode::kTimingPoint,    EventCode::kReturnError,   EventCode::kWarning,
    EventCode::kMessageSend,    EventCode::kMessageReceive};

struct EventName {
  std::int32_t code;
  const char* name;
};

/// Printed names. Two codes print "Timing_point": 0 is the one that is recorded.
inline constexpr std::array<EventName, 18> kEventNames = {{
    {EventCode::kLogModuleAdded, "Log_module_added"},
    {EventCode::kLogModuleRemoved, "Log_module_removed"},
    {EventCode::kRootError, "Root_error"},
    {EventCode::kCascadeError, "Cascade_error"},
    {EventCode::kDismissedError, "Dismissed_error"},
    {EventCode::kConstruction, "Construction"},
    {EventCode::kDestruction, "Destruction"},
    {EventCode::kStateChange, "State_change"},
    {EventCode::kNotify, "Notify"},
    {EventCode::kUpdate, "Update"},
    {EventCode::kMessageSend, "Message_send"},
    {EventCode::kMessageReceive, "Message_receive"},
    {EventCode::kScopePop, "Scope_pop"},
    {EventCode::kScopePush, "Scope_push"},
    {EventCode::kTimingPointAlias, "Timing_point"},
    {EventCode::kTimingPoint, "Timing_point"},
    {EventCode::kReturnError, "Return_error"},
    {EventCode::kWarning, "Warning"},
}};

/// Returns the printed name of a code.
[[nodiscard]] constexpr std::string_view EventText(std::int32_t code) noexcept {
  for (const EventName& event : kEventNames) {
    if (event.code == code) return event.name;
  }
  return "unknown event";
}

/// Returns true for the code of an error or a warning, whose first argument is a label.
[[nodiscard]] constexpr bool HoldsLabel(std::int32_t code) noexcept {
  return code >= EventCode::kRootError && code <= EventCode::kWarning;
}

}  // namespace Orvel::Detail
