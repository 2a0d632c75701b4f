// SPDX-License-Identifier: MIT
// The parts of folder_audit, in this process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <stop_token>

#include "folder_audit/audit_comparison.h"
#include "folder_audit/audit_file.h"
#include "folder_audit/error_text.h"
#include "folder_audit/file_hasher.h"
#include "folder_audit/folder_audit.h"
#include "folder_audit/paths.h"
#include "temporary_folder.h"
#include "tests/support/raised_error.h"

namespace {

using namespace FolderAudit;
using Kind = FileDifference::Kind;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;

TEST(PathsTest, ExtendedPathsAreFullAndKnowSharesAndJoiningKeepsOneBackslash) {
  EXPECT_EQ(MakeExtendedPath(L"C:\\a\\.\\b\\..\\c"), L"\\\\?\\C:\\a\\c");
  EXPECT_EQ(MakeExtendedPath(L"\\\\server\\share\\a"), L"\\\\?\\UNC\\server\\share\\a");
  EXPECT_EQ(MakeExtendedPath(L"\\\\?\\C:\\a\\..\\b."), L"\\\\?\\C:\\a\\..\\b.");
  // One short of, at and past the length that is tried first.
  for (std::size_t length = 257; length < 263; ++length) {
    const std::wstring path = L"C:\\" + std::wstring(length - 3, L'x');
    EXPECT_EQ(MakeExtendedPath(path), L"\\\\?\\" + path);
  }
  EXPECT_EQ(JoinPath(L"\\\\?\\C:\\", L"a"), L"\\\\?\\C:\\a");
  EXPECT_EQ(JoinPath(L"", L"b"), L"b");
  EXPECT_EQ(JoinPath(L"a", L""), L"a");
}

TEST(ErrorTextTest, IsPrintableAndNeverEmpty) {
  EXPECT_EQ(Printable(L"a\x1B[2J\n\x7F\x9B\u00E4"), L"a?[2J???\u00E4");
  EXPECT_EQ(DescribeCause(MException()), L"unknown error");
}

TEST(FileHasherTest, RefusesAFileThatChangedMeanwhileAndWorksAgain) {
  TemporaryFolder folder;
  folder.WriteFile(L"log", std::string(300'000, 'x'));
  const std::filesystem::path path = folder.Extended(L"log");
  int chunks = 0;
  FileHasher hasher({}, [&](std::uint64_t) {
    if (chunks++ == 0) std::fstream(path, std::ios::in | std::ios::out) << "another line";
  });
  const auto hash = [&] { return hasher.HashFile(path.wstring()); };
  EXPECT_EQ(ErrorOf(hash), "FileReader.RequireUnchanged:ChangedWhileRead");
  EXPECT_TRUE(folder.LockAway(L"log")) << "left open by an error";

  const std::optional<FileDigest> digest = hash();
  ASSERT_TRUE(digest.has_value());
  EXPECT_EQ(digest->sizeInBytes, 300'000u);
  EXPECT_TRUE(folder.LockAway(L"log")) << "left open";
}

/// Requests a stop when so many files have been begun.
struct StoppingObserver final : IAuditObserver {
  void OnFileStarted(const std::wstring&) override {
    if (++begun == last) stop.request_stop();
  }
  void OnBytesRead(std::uint64_t) noexcept override {}
  void OnEntry(const AuditEntry&) override {}

  std::atomic<std::size_t> begun{0};
  std::size_t last = 0;
  std::stop_source stop{};
};

TEST(AuditTest, AStopAtAnyMomentLeavesOnlyWholeEntriesInTheOrderOfTheWalk) {
  TemporaryFolder folder;
  constexpr std::size_t kFiles = 12;
  for (std::size_t i = 0; i < kFiles; ++i) {
    folder.WriteFile(std::to_wstring(i), std::string(10'000 * i, 'x'));
  }
  Options options;
  options.folder = folder.GetPath();
  for (std::size_t round = 0; round < 3 * (kFiles + 2); ++round) {
    options.jobs = round % 3 + 1;
    StoppingObserver observer;
    observer.last = round / 3;
    const AuditResult result = Audit(options, observer, observer.stop.get_token()).Run();
    EXPECT_TRUE(result.interrupted || result.entries.size() == kFiles) << result.entries.size();
    EXPECT_TRUE(std::ranges::is_sorted(result.entries, {}, &AuditEntry::relativePath));
    for (const AuditEntry& entry : result.entries) {
      EXPECT_FALSE(entry.error.has_value());
      EXPECT_EQ(entry.sha256.size(), 64u);
    }
  }
}

AuditEntry Readable(const wchar_t* path, std::uint64_t size, char hashDigit) {
  return {path, size, std::string(64, hashDigit), std::nullopt};
}

AuditEntry Unreadable(const wchar_t* path) {
  return {path, 0, {}, MException(MError(L"FileReader.Open:CannotOpenFile"))};
}

TEST(AuditFileTest, AnAuditComesBackAsItWasStored) {
  TemporaryFolder folder;
  const std::wstring file = folder.Expect(L"audit.xml");
  std::vector<AuditEntry> stored = {
      Readable(L"b\\\u00E4 & <\U0001F600>", 5'000'000'000, 'f'), Unreadable(L"locked"),
      Readable(L"half \xD800 \xDC00\xD83D", 0, '0'), Unreadable(L"\xDFFF")};
  MError cause(L"half");
  cause.AddParameter(L"file", stored[3].relativePath);
  stored[3].error->Append(cause);
  RequireSavable(file);
  SaveAudit(file, L"C:\\folder", stored);
  RequireSavable(file);
  const auto [audited, loaded] = LoadAudit(file);
  EXPECT_EQ(audited, L"C:\\folder");
  ASSERT_EQ(loaded.size(), stored.size());
  const std::vector<FileDifference> differences = CompareAudits(stored, loaded);
  ASSERT_EQ(differences.size(), 2u) << "only what was unreadable before and after";
  ASSERT_EQ(differences[0].entry, &loaded[1]);
  ASSERT_EQ(differences[1].entry, &loaded[3]);
  EXPECT_EQ(*loaded[3].error->GetNewestError()->FindParameter(L"file"), L"\xFFFD");
  EXPECT_EQ(loaded[1].error->GetChainDescription(), stored[1].error->GetChainDescription());
}

TEST(AuditFileTest, WhatIsNoAuditIsAnErrorThatSaysWhere) {
  TemporaryFolder folder;
  const auto fileOf = [&](const wchar_t* name, const std::string& text) {
    folder.WriteFile(name, "<ExceptionChain>\n" + text + "</ExceptionChain>");
    return folder.Extended(name);
  };
  const auto entryOf = [&](const wchar_t* name, const std::string& size, char hashDigit) {
    return fileOf(name, R"(<Audit><Format type="uint">1</Format><Folder type="string">C:</Folder>)"
                        R"(<File><Path type="string">a</Path><Size type="string">)" +
                            size + R"(</Size><Sha256 type="string">)" + std::string(64, hashDigit) +
                            "</Sha256></File></Audit>");
  };
  const auto errorOf = [](const std::wstring& file) {
    return ErrorOf([&] { static_cast<void>(LoadAudit(file)); });
  };
  EXPECT_THAT(errorOf(fileOf(L"broken", "<Audit></File></Audit>")), HasSubstr(", line=2, "));
  EXPECT_THAT(errorOf(fileOf(L"other", "")), HasSubstr("reason=not an audit]"));
  EXPECT_EQ(LoadAudit(entryOf(L"good", "18446744073709551615", 'a')).entries.size(), 1u);
  for (const std::wstring& file : {entryOf(L"too large", "18446744073709551616", 'a'),
                                   entryOf(L"no size", "1 ", 'a'), entryOf(L"no hash", "1", 'g')}) {
    EXPECT_THAT(errorOf(file), HasSubstr("reason=entry 1 makes no sense]"));
  }
  EXPECT_THAT(errorOf(L"missing"), StartsWith("AuditFile.LoadAudit:CannotLoad [file=missing, "
                                              "reason=Cannot open: "));
  const std::wstring nowhere = folder.Extended(L"no folder\\audit.xml");
  EXPECT_THROW(SaveAudit(nowhere, {}, {}), MException);
  EXPECT_THAT(ErrorOf([&] { RequireSavable(nowhere); }), HasSubstr("winErrorCode=3]"));
}

TEST(AuditComparisonTest, TellsEveryKindOfDifferenceByPath) {
  const std::vector<AuditEntry> before = {Readable(L"same", 1, '1'),
                                          Readable(L"changed", 1, '2'),
                                          Readable(L"removed", 1, '3'),
                                          Unreadable(L"readable now"),
                                          Unreadable(L"unreadable"),
                                          Unreadable(L"gone"),
                                          Unreadable(L"folder"),
                                          Unreadable(L"fold"),
                                          Readable(L"shut\\deep\\a", 1, '1'),
                                          Readable(L"shut.txt", 1, '1')};
  const std::vector<AuditEntry> after = {
      Readable(L"added", 1, '4'),        Readable(L"changed", 1, '5'),
      Readable(L"same", 1, '1'),         Unreadable(L"unreadable"),
      Readable(L"readable now", 1, '6'), Readable(L"folder\\file", 1, '7'),
      Readable(L"folder.txt", 1, '8'),   Unreadable(L"shut")};
  std::vector<std::pair<std::wstring, Kind>> found;
  for (const FileDifference& difference : CompareAudits(before, after)) {
    found.emplace_back(difference.entry->relativePath, difference.kind);
  }
  EXPECT_THAT(
      found,
      ElementsAre(Pair(L"added", Kind::kAdded), Pair(L"changed", Kind::kChanged),
                  Pair(L"fold", Kind::kRemoved), Pair(L"folder", Kind::kUnreadableBefore),
                  Pair(L"folder.txt", Kind::kAdded), Pair(L"folder\\file", Kind::kAdded),
                  Pair(L"gone", Kind::kRemoved), Pair(L"readable now", Kind::kUnreadableBefore),
                  Pair(L"removed", Kind::kRemoved), Pair(L"shut", Kind::kUnreadable),
                  Pair(L"shut.txt", Kind::kRemoved), Pair(L"unreadable", Kind::kUnreadable)));
}

}  // namespace
