// SPDX-License-Identifier: MIT
#pragma once

class MEngineThread;
class MException;

namespace Orvel::Detail {

/// Called on a worker that an error ends, after the error was recorded, without a lock held.
using WorkerFailureHook = void (*)(MEngineThread& engine, const MException& error) noexcept;

/// Installs the process's hook, which layers above fill; null for none. Any thread; a call that is
/// under way goes on.
void SetWorkerFailureHook(WorkerFailureHook hook) noexcept;

/// Calls the hook, if there is one.
void ReportWorkerFailure(MEngineThread& engine, const MException& error) noexcept;

}  // namespace Orvel::Detail
