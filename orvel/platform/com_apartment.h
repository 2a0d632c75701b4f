// SPDX-License-Identifier: MIT
#pragma once

namespace Orvel::Detail {

/// Initialises COM for the calling thread, in the process's multithreaded apartment. The result is
/// ignored: a thread that already is in an apartment stays in it.
void EnterMultithreadedApartment() noexcept;
/// Undoes one EnterMultithreadedApartment, whatever its result was.
void LeaveApartment() noexcept;

}  // namespace Orvel::Detail
