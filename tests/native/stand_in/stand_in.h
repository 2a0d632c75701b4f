// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace StandIn {

/// Makes the `n`-th call from now on fail that can (creating, setting and resetting events,
/// waiting, starting a thread), of all threads together; 0 lets all succeed. Returns how many such
/// calls there were since it was last called.
std::uint64_t FailCall(std::uint64_t n);

}  // namespace StandIn
