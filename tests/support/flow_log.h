// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace Orvel::Testing {

/// Dumps the process's flow log, which forgets its records by that.
[[nodiscard]] std::string TakeFlowLog();

/// Of a dump's text, what stands before " in_class " for each record that contains all of `words`
/// ("State_change to Running"), in order.
[[nodiscard]] std::vector<std::string> FlowEventsWith(const std::string& dump,
                                                      const std::vector<std::string>& words);
/// The words by which a record shows the object at an address.
[[nodiscard]] std::string ForObject(const void* object);

}  // namespace Orvel::Testing
