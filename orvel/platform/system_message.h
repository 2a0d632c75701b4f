// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace Orvel::Detail {

/// The system's message for one of its codes as it stands in the system's table, line breaks and
/// places for inserts ("%1") included; empty when there is none. The language is the one that the
/// system chooses for the calling thread. Keeps the thread's last error code.
[[nodiscard]] std::wstring FindSystemMessage(std::uint32_t code);

}  // namespace Orvel::Detail
