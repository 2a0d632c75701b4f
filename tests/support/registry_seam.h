// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/registry_sandbox.h"

namespace Orvel::Testing {

/// Stands between the library and the registry while it lives, in this program's import table:
/// records the calls, counts the keys and lets calls fail. One at a time, and for one thread.
class RegistrySeam {
 public:
  /// One call, in the order made; closing keys is counted, not listed.
  struct Call {
    enum class Kind { kOpen, kCreate, kQuery, kSet } kind;
    std::wstring name;         ///< path of a key, name of a value
    std::uint32_t access = 0;  ///< for keys
  };

  RegistrySeam();
  RegistrySeam(const RegistrySeam&) = delete;
  RegistrySeam& operator=(const RegistrySeam&) = delete;
  ~RegistrySeam();

  /// Asked before each call but closing; when true, the call fails without reaching the registry.
  std::function<bool(const Call&)> refuses;
  /// Where set, gives what a query finds; the query behaves as the system's, and what lies in the
  /// buffer behind the data becomes garbage.
  std::function<RawRegistryValue()> finds;
  /// What a query then returns for a value that is larger than the buffer.
  std::int32_t statusOfTooLittleRoom = 234;  // ERROR_MORE_DATA

  std::vector<Call> calls;
  std::size_t opened = 0;
  std::size_t closed = 0;
};

}  // namespace Orvel::Testing
