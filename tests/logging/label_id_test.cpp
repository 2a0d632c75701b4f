// SPDX-License-Identifier: MIT
#include "orvel/logging/label_id.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>

namespace {

static_assert(FlowLabelId("foobar") == static_cast<std::int32_t>(0xBF9CF968u));
static_assert(FlowLabelId(L"Start") == FlowLabelId("Start"));
static_assert(FlowLabelId("\xE9") == FlowLabelId(L"\xE9"), "char may be signed");
static_assert(FlowLabelId(L"\x0141") == FlowLabelId("A"), "only low bytes are kept");
static_assert(FlowLabelId("") != 0);

// The library's names are among its wide string literals.
TEST(FlowLabelIdTest, NoTwoNamesOfTheLibraryCollide) {
  const std::regex literal(R"re(L"((?:[^"\\]|\\.)*)")re");
  std::map<std::int32_t, std::string> owners;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(ORVEL_SOURCE_DIR)) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      for (std::smatch match; std::regex_search(line, match, literal); line = match.suffix()) {
        const std::string name = match[1];
        EXPECT_EQ(owners.emplace(FlowLabelId(name), name).first->second, name) << "has the same id";
      }
    }
  }
  EXPECT_TRUE(owners.contains(FlowLabelId("BadCppLocale"))) << "not found in " ORVEL_SOURCE_DIR;
}

}  // namespace
