// SPDX-License-Identifier: MIT
#include "folder_audit/file_hasher.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "orvel/foundation/exception.h"
#include "orvel/platform/windows_api.h"
#include "temporary_folder.h"

namespace {

using namespace FolderAudit;
using Orvel::Testing::TemporaryFolder;

constexpr const char* kHashOfAbc =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

/// The oldest error that hashing the file raises; one without a code when it raises nothing.
MError ErrorOfHashing(FileHasher& hasher, const std::wstring& path) {
  try {
    static_cast<void>(hasher.HashFile(path));
  } catch (const MException& exception) {
    return *exception.GetErrors().front();
  }
  return {};
}

TEST(FileHasherTest, WorksAgainAfterAFileThatVanished) {
  TemporaryFolder folder;
  folder.WriteFile(L"abc", "abc");
  FileHasher hasher({}, nullptr);
  const MError error = ErrorOfHashing(hasher, folder.Extended(L"gone"));
  EXPECT_EQ(error.GetCode(), L"FileReader.Open:CannotOpenFile");
  ASSERT_NE(error.FindParameter(L"winErrorCode"), nullptr);
  EXPECT_EQ(*error.FindParameter(L"winErrorCode"), std::to_wstring(ERROR_FILE_NOT_FOUND));

  const auto digest = hasher.HashFile(folder.Extended(L"abc"));
  ASSERT_TRUE(digest.has_value());
  EXPECT_EQ(digest->sha256, kHashOfAbc);
  EXPECT_EQ(digest->sizeInBytes, 3u);
}

TEST(FileHasherTest, RefusesAFileThatGrewMeanwhile) {
  TemporaryFolder folder;
  folder.WriteFile(L"log", std::string(300'000, 'x'));
  const std::filesystem::path path = folder.Extended(L"log");
  int chunks = 0;
  FileHasher hasher({}, [&](std::uint64_t) {
    if (chunks++ == 0) std::ofstream(path, std::ios::app | std::ios::binary) << "another line";
  });
  EXPECT_EQ(ErrorOfHashing(hasher, path.wstring()).GetCode(),
            L"FileReader.RequireUnchanged:ChangedWhileRead");
}

TEST(FileHasherTest, ObeysAStopBeforeTheNextChunk) {
  TemporaryFolder folder;
  folder.MakeSparseFile(L"huge", std::int64_t{1} << 40);
  std::stop_source stop;
  int chunks = 0;
  FileHasher hasher(stop.get_token(), [&](std::uint64_t) {
    ++chunks;
    stop.request_stop();
  });
  EXPECT_FALSE(hasher.HashFile(folder.Extended(L"huge")).has_value());
  EXPECT_EQ(chunks, 1);
}

TEST(FileHasherTest, LeavesNoFileOpen) {
  TemporaryFolder folder;
  folder.WriteFile(L"abc", "abc");
  std::stop_source stop;
  FileHasher hasher(stop.get_token(), nullptr);
  const auto canBeOpenedAlone = [&] {
    const HANDLE file = ::CreateFileW(folder.Extended(L"abc").c_str(), GENERIC_READ, 0, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    return file != INVALID_HANDLE_VALUE && ::CloseHandle(file) != FALSE;
  };
  EXPECT_TRUE(hasher.HashFile(folder.Extended(L"abc")).has_value());
  EXPECT_TRUE(canBeOpenedAlone());
  stop.request_stop();
  EXPECT_FALSE(hasher.HashFile(folder.Extended(L"abc")).has_value());
  EXPECT_TRUE(canBeOpenedAlone());
}

}  // namespace
