// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace Orvel::Testing {

/// The number of kernel handles that this process has open, up to the value 0x8000. Takes some
/// milliseconds.
///
/// Handles are counted by asking for each possible value, because Wine answers the system's own
/// counter with 0. The process opens some lazily, the first time it does a thing: run the code
/// under test once before the first count, and end the threads it started.
[[nodiscard]] std::size_t CountOpenHandles();

/// True when `handle` is an open handle of this process.
[[nodiscard]] bool IsOpenHandle(void* handle);

}  // namespace Orvel::Testing
