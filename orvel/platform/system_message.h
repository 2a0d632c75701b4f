// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace Orvel::Detail {

/// Returns the system's message for one of its codes, unchanged, with line breaks and places for
/// inserts ("%1"); empty when there is none. The system chooses the language for the calling
/// thread. Keeps the thread's last error code. Raises `std::bad_alloc`.
[[nodiscard]] std::wstring FindSystemMessage(std::uint32_t code);

}  // namespace Orvel::Detail
