// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace Orvel::Detail {

/// Sends the name of the thread `threadId` to an attached debugger, by the structured exception
/// that debuggers recognise. Without a debugger the exception ends here; a vectored handler of the
/// process may see it. `threadId` is the calling thread's. Raises nothing.
void AnnounceThreadName(std::uint32_t threadId, const char* name) noexcept;

/// Gives the calling thread its description, which the system keeps for debuggers that attach
/// later, for profilers and for crash dumps. Does nothing where the system is too old to have
/// descriptions. Raises nothing.
void DescribeCurrentThread(const wchar_t* name) noexcept;

/// Copies the description of a thread of this process, cut to fit and ended with 0. Returns false,
/// and leaves `description` unchanged, when there is none or it cannot be read. The first call
/// takes the loader's lock.
[[nodiscard]] bool ReadThreadDescription(std::uint32_t threadId,
                                         std::span<wchar_t> description) noexcept;

}  // namespace Orvel::Detail
