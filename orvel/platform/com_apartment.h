// SPDX-License-Identifier: MIT
#pragma once

namespace Orvel::Detail {

/// Initialises COM for the calling thread, in the process's multithreaded apartment. The result is
/// not looked at: a thread that is in an apartment already stays in it.
void EnterMultithreadedApartment() noexcept;
/// Undoes one EnterMultithreadedApartment, whatever its result was.
void LeaveApartment() noexcept;

}  // namespace Orvel::Detail
