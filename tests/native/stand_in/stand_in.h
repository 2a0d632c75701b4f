// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// What tests ask of the stand-in beside the calls themselves.
namespace StandIn {

/// Makes the `n`-th call from now on fail that can (creating, setting and resetting events,
/// waiting, starting a thread); 0 ends it. Counts the calls of all threads together.
void FailCall(std::uint64_t n);
/// Calls that could have failed since the last FailCall.
std::uint64_t CountCalls();
/// Handles that are open.
std::size_t CountHandles();

}  // namespace StandIn
