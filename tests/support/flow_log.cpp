// SPDX-License-Identifier: MIT
#include "tests/support/flow_log.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <sstream>

#include "orvel/logging/flow_log.h"

namespace Orvel::Testing {

std::string TakeFlowLog() {
  std::ostringstream stream;
  flowLogger().dump(stream);
  return std::move(stream).str();
}

std::vector<std::string> FlowEventsWith(const std::string& dump,
                                        const std::vector<std::string>& words) {
  std::vector<std::string> events;
  std::istringstream lines(dump);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t end = line.find(" in_class ");
    if (end == std::string::npos) continue;
    const auto isIn = [&](const std::string& word) { return line.find(word) != std::string::npos; };
    if (std::ranges::all_of(words, isIn)) events.push_back(line.substr(2, end - 2));
  }
  return events;
}

std::string ForObject(const void* object) {
  std::ostringstream text;
  text << "for_object " << std::hex << std::uppercase << std::setfill('0') << std::setw(16)
       << reinterpret_cast<std::uintptr_t>(object);
  return text.str();
}

}  // namespace Orvel::Testing
