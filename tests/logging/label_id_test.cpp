// SPDX-License-Identifier: MIT
#include "orvel/logging/label_id.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "orvel/logging/flow_logger_implementation.h"

namespace {

static_assert(FlowLabelId("foobar") == static_cast<std::int32_t>(0xBF9CF968u));
static_assert(FlowLabelId(L"Start") == FlowLabelId("Start"));
static_assert(FlowLabelId("\xE9") == FlowLabelId(L"\xE9"), "char may be signed");
static_assert(FlowLabelId(L"\x0141") == FlowLabelId("A"), "only low bytes are kept");
static_assert(FlowLabelId("") != 0);

/// Every wide string literal of the library, which is where its names come from.
std::set<std::string> LibraryNames() {
  const std::regex literal(R"re(L"((?:[^"\\]|\\.)*)")re");
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(ORVEL_SOURCE_DIR)) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      std::sregex_iterator match(line.begin(), line.end(), literal);
      for (; match != std::sregex_iterator(); ++match) names.insert((*match)[1].str());
    }
  }
  return names;
}

TEST(FlowLabelIdTest, NoTwoNamesOfTheLibraryCollide) {
  std::map<std::int32_t, std::string> owners;
  const auto claim = [&](std::int32_t key, const std::string& owner) {
    const auto [entry, isNew] = owners.emplace(key, owner);
    EXPECT_TRUE(isNew) << owner << " and " << entry->second << " have one key";
  };
  const std::regex className("M[A-Z][A-Za-z]+");
  for (const std::string& name : LibraryNames()) {
    claim(FlowLabelId(name), name);
    if (!std::regex_match(name, className)) continue;
    // States share their table with messages, whose keys are label identifiers as they stand. A
    // class may use a hundred states before it runs into the next identifier's.
    for (std::int32_t state = 0; state < 100; ++state) {
      claim(MFlowLoggerImplementation::StateKey(FlowLabelId(name), state),
            name + " in state " + std::to_string(state));
    }
  }
  EXPECT_TRUE(owners.contains(FlowLabelId("BadCppLocale"))) << "not found in " ORVEL_SOURCE_DIR;
}

}  // namespace
