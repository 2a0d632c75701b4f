// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Orvel::Detail {

/// Tells an attached debugger the name of the thread `threadId`, by the structured exception that
/// debuggers look for. Without a debugger nothing happens. Any thread; raises nothing.
void AnnounceThreadName(std::uint32_t threadId, const char* name) noexcept;

}  // namespace Orvel::Detail
