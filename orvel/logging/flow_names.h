// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/logging/name_table.h"

namespace Orvel::Detail {

/// The names by which a flow logger shows identifiers: a table for each sort of them.
///
/// Thread-safe, like the tables. Each has a lock of its own.
struct FlowNames {
  NameTable<std::uint32_t> threads;
  NameTable<std::int32_t> labels;
  NameTable<std::int32_t> statesAndMessages;  ///< messages by their number, states by StateKey()
  NameTable<std::uint64_t> objects;

  /// Returns the key of a class's state in the table that states share with messages: the class's
  /// identifier times 100 plus the state, wrapping as unsigned numbers do.
  [[nodiscard]] static constexpr std::int32_t StateKey(std::int32_t classId,
                                                       std::int32_t state) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(classId) * 100u +
                                     static_cast<std::uint32_t>(state));
  }

  /// Adds every name to `other`, where names already there stay. Two sets may be copied into each
  /// other at once.
  void CopyInto(FlowNames& other) const noexcept {
    threads.CopyInto(other.threads);
    labels.CopyInto(other.labels);
    statesAndMessages.CopyInto(other.statesAndMessages);
    objects.CopyInto(other.objects);
  }
};

}  // namespace Orvel::Detail
