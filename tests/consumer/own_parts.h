// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>

/// Dumps the flow log of a logger of the program's own, with one event that it recorded under a
/// mutex of its own.
void DumpOwnLogger(std::ostream& stream);
