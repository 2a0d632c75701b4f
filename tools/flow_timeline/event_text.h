// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace FlowTimeline {

/// A kind of event as dumps print it, "Scope_push".
[[nodiscard]] std::string_view EventText(std::int32_t kind) noexcept;

/// An object as dumps print it: sixteen upper-case hex digits.
[[nodiscard]] std::string ObjectText(std::uint64_t object);

/// Whether the kind is an error's or a warning's, whose first argument is a label.
[[nodiscard]] bool IsErrorOrWarning(std::int32_t kind) noexcept;

}  // namespace FlowTimeline
