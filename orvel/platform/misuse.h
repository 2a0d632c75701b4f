// SPDX-License-Identifier: MIT
#pragma once

namespace Orvel::Detail {

/// Returns true if this library was built with assertions, without `NDEBUG`: only then is misuse
/// reported.
/// It depends on how the library was compiled, not on how the program that uses it is.
[[nodiscard]] bool ReportsMisuse() noexcept;

/// Reports that the caller broke a rule in a way that would otherwise go unnoticed. For places
/// where nothing can be raised or returned, such as destructors. Does nothing without assertions.
///
/// With them the message (ASCII, a sentence without its full stop) goes to the debugger and to the
/// standard error output; then the program stops in the debugger, if there is one, and aborts.
/// Any thread, also several at once.
void ReportMisuse(const wchar_t* message) noexcept;

/// Called with the message in place of the usual report, on the thread that reports. When it
/// returns, the program continues as it does without assertions.
using MisuseHandler = void (*)(const wchar_t* message) noexcept;

/// Sets the process's handler, null for the usual report, and returns the one that was set before.
/// For tests. Any thread.
MisuseHandler ReplaceMisuseHandler(MisuseHandler handler) noexcept;

}  // namespace Orvel::Detail
