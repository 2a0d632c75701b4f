// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "folder_audit/folder_audit.h"
#include "orvel/platform/windows_api.h"
#include "temporary_folder.h"

namespace {

using namespace FolderAudit;
using Orvel::Testing::TemporaryFolder;

/// Calls a function before each file.
class StartObserver final : public IAuditObserver {
 public:
  explicit StartObserver(std::function<void(const std::wstring&)> onFileStarted)
      : onFileStarted_(std::move(onFileStarted)) {}
  void OnFileStarted(const std::wstring& relativePath) override { onFileStarted_(relativePath); }
  void OnBytesRead(std::uint64_t) noexcept override {}
  void OnEntry(const AuditEntry&) override {}

 private:
  const std::function<void(const std::wstring&)> onFileStarted_;
};

Options OptionsFor(const TemporaryFolder& folder) {
  Options options;
  options.folder = folder.GetPath();
  return options;
}

TEST(AuditTest, AFileThatVanishesIsAnEntryWithItsChain) {
  TemporaryFolder folder;
  folder.WriteFile(L"a", "a");
  folder.WriteFile(L"b", "b");
  folder.WriteFile(L"c", "c");
  StartObserver observer([&](const std::wstring& file) {
    if (file != L"b") return;
    EXPECT_TRUE(::DeleteFileW(folder.Extended(file).c_str()));
  });
  StopRequest stop;
  Audit audit(OptionsFor(folder), observer, stop);
  const AuditResult result = audit.Run();

  ASSERT_EQ(result.entries.size(), 3u);
  EXPECT_FALSE(result.interrupted);
  EXPECT_FALSE(result.entries[0].error.has_value());
  EXPECT_FALSE(result.entries[2].error.has_value());
  const AuditEntry& vanished = result.entries[1];
  EXPECT_EQ(vanished.sha256, "");
  ASSERT_TRUE(vanished.error.has_value());
  ASSERT_EQ(vanished.error->GetErrors().size(), 2u);
  const MError& cause = *vanished.error->GetErrors()[0];
  EXPECT_EQ(cause.GetCode(), L"FileReader.Open:CannotOpenFile");
  EXPECT_EQ(*cause.FindParameter(L"winErrorCode"), std::to_wstring(ERROR_FILE_NOT_FOUND));
  const MError& newest = *vanished.error->GetErrors()[1];
  EXPECT_EQ(newest.GetCode(), L"HashFileCommand.ExecuteCommand:FileNotHashed");
  EXPECT_EQ(*newest.FindParameter(L"file"), L"b");
}

TEST(AuditTest, AStopBetweenFilesKeepsWhatWasHashed) {
  TemporaryFolder folder;
  for (const wchar_t* name : {L"a", L"b", L"c"}) folder.WriteFile(name, "text");
  StopRequest stop;
  StartObserver observer([&](const std::wstring& file) {
    if (file == L"b") stop.Make();
  });
  Audit audit(OptionsFor(folder), observer, stop);
  const AuditResult result = audit.Run();
  EXPECT_TRUE(result.interrupted);
  ASSERT_EQ(result.entries.size(), 1u);
  EXPECT_EQ(result.entries[0].relativePath, L"a");
}

TEST(AuditTest, AStopAtAnyMomentLeavesOnlyWholeEntries) {
  TemporaryFolder folder;
  constexpr std::size_t kFiles = 40;
  for (std::size_t i = 0; i < kFiles; ++i) {
    folder.WriteFile(std::to_wstring(i), std::string(1000 * i, 'x'));
  }
  for (int round = 0; round < 40; ++round) {
    StopRequest stop;
    StartObserver observer([](const std::wstring&) {});
    Audit audit(OptionsFor(folder), observer, stop);
    std::jthread stopper([&, round] {
      std::this_thread::sleep_for(std::chrono::microseconds(400 * round));
      stop.Make();
    });
    const AuditResult result = audit.Run();
    EXPECT_TRUE(result.interrupted || result.entries.size() == kFiles);
    for (const AuditEntry& entry : result.entries) {
      EXPECT_FALSE(entry.error.has_value());
      EXPECT_EQ(entry.sha256.size(), 64u);
    }
  }
}

}  // namespace
