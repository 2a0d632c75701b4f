// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "folder_audit/audit_comparison.h"
#include "folder_audit/audit_file.h"
#include "temporary_folder.h"

namespace {

using namespace FolderAudit;
using Kind = FileDifference::Kind;
using Orvel::Testing::TemporaryFolder;

AuditEntry Readable(const wchar_t* path, std::uint64_t size, const char* hash) {
  return {path, size, hash, std::nullopt};
}

AuditEntry Unreadable(const wchar_t* path) {
  MException chain;
  MError cause{std::wstring(L"FileReader.Open:CannotOpen")};
  cause.AddParameter(L"winErrorCode", 32u);
  chain.Append(cause);
  chain.Append(MError{std::wstring(L"HashFileCommand.ExecuteCommand:CannotHash")});
  return {path, 0, {}, chain};
}

TEST(AuditFileTest, AnAuditComesBackAsItWasStored) {
  TemporaryFolder folder;
  const std::wstring file = folder.Expect(L"audit.xml");
  const std::vector<AuditEntry> stored = {
      Readable(L"b\\\u00E4 & <\U0001F600>", 5'000'000'000, "ff"), Unreadable(L"locked"),
      Readable(L"", 0, "00")};
  SaveAudit(file, L"C:\\folder", stored);
  const std::vector<AuditEntry> loaded = LoadAudit(file);
  ASSERT_EQ(loaded.size(), stored.size());
  for (std::size_t i = 0; i < stored.size(); ++i) {
    EXPECT_EQ(loaded[i].relativePath, stored[i].relativePath);
    EXPECT_EQ(loaded[i].sizeInBytes, stored[i].sizeInBytes);
    EXPECT_EQ(loaded[i].sha256, stored[i].sha256);
    ASSERT_EQ(loaded[i].error.has_value(), stored[i].error.has_value());
    if (stored[i].error) {
      EXPECT_EQ(loaded[i].error->GetChainDescription(), stored[i].error->GetChainDescription());
    }
  }
}

TEST(AuditFileTest, WhatIsNoAuditIsAnErrorThatSaysWhere) {
  TemporaryFolder folder;
  folder.WriteFile(L"broken", "<ExceptionChain>\n<Audit></File></Audit></ExceptionChain>");
  folder.WriteFile(L"other", "<ExceptionChain/>");
  const auto loadError = [&](const wchar_t* name) {
    try {
      static_cast<void>(LoadAudit(folder.Extended(name)));
    } catch (const MException& exception) {
      return *exception.GetNewestError();
    }
    return MError();
  };
  const MError broken = loadError(L"broken");
  EXPECT_EQ(broken.GetCode(), L"AuditFile.LoadAudit:CannotLoad");
  ASSERT_NE(broken.FindParameter(L"line"), nullptr);
  EXPECT_EQ(*broken.FindParameter(L"line"), L"2");
  EXPECT_EQ(loadError(L"other").GetCode(), L"AuditFile.LoadAudit:CannotLoad");
  EXPECT_EQ(loadError(L"missing").GetCode(), L"AuditFile.LoadAudit:CannotLoad");
  EXPECT_THROW(SaveAudit(folder.Extended(L"no folder\\audit.xml"), {}, {}), MException);
}

TEST(AuditComparisonTest, TellsEveryKindOfDifferenceByPath) {
  const std::vector<AuditEntry> before = {
      Readable(L"same", 1, "11"),  Readable(L"changed", 1, "22"), Readable(L"removed", 1, "33"),
      Unreadable(L"readable now"), Unreadable(L"unreadable"),     Unreadable(L"gone")};
  const std::vector<AuditEntry> after = {Readable(L"added", 1, "44"), Readable(L"changed", 1, "55"),
                                         Readable(L"same", 1, "11"), Unreadable(L"unreadable"),
                                         Readable(L"readable now", 1, "66")};
  std::vector<std::pair<std::wstring, Kind>> found;
  for (const FileDifference& difference : CompareAudits(before, after)) {
    found.emplace_back(difference.entry->relativePath, difference.kind);
  }
  const std::vector<std::pair<std::wstring, Kind>> expected = {
      {L"added", Kind::kAdded},     {L"changed", Kind::kChanged},
      {L"gone", Kind::kRemoved},    {L"readable now", Kind::kUnreadableBefore},
      {L"removed", Kind::kRemoved}, {L"unreadable", Kind::kUnreadable}};
  EXPECT_EQ(found, expected);
  EXPECT_TRUE(CompareAudits({before[0]}, {before[0]}).empty());
}

}  // namespace
