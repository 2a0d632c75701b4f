// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>

/// True when a mutex of the program's own excludes another thread.
bool OwnMutexExcludes();
/// Dumps the flow log of a logger of the program's own, with one event that it recorded.
void DumpOwnLogger(std::ostream& stream);
