// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"
#include "orvel/threads/non_copyable.h"

namespace Orvel::Testing {

/// A new folder among the system's temporary ones, removed with all that was made or registered
/// through this object. Names are relative to it and may be longer than the usual limit. What the
/// system refuses fails the test that is running.
class TemporaryFolder : public Libraries::NonCopyable {
 public:
  TemporaryFolder() {
    const std::wstring name = L"orvel-" + std::to_wstring(std::random_device()());
    path_ = (std::filesystem::temp_directory_path() / name).wstring();
    EXPECT_TRUE(::CreateDirectoryW(path_.c_str(), nullptr));
  }

  ~TemporaryFolder() {
    // By hand, because not every standard library removes what is below the usual limit.
    for (auto name = names_.rbegin(); name != names_.rend(); ++name) {
      const std::wstring path = Extended(*name);
      if (!::DeleteFileW(path.c_str())) ::RemoveDirectoryW(path.c_str());
    }
    EXPECT_TRUE(::RemoveDirectoryW(path_.c_str())) << "something is left or open";
  }

  /// The folder as a user would type it.
  [[nodiscard]] const std::wstring& GetPath() const noexcept { return path_; }
  /// The full name of an entry, usable at any length.
  [[nodiscard]] std::wstring Extended(const std::wstring& name) const {
    return LR"(\\?\)" + path_ + L'\\' + name;
  }

  void MakeFolder(const std::wstring& name) {
    names_.push_back(name);
    EXPECT_TRUE(::CreateDirectoryW(Extended(name).c_str(), nullptr));
  }

  void WriteFile(const std::wstring& name, std::string_view content) {
    names_.push_back(name);
    std::ofstream file(std::filesystem::path(Extended(name)), std::ios::binary);
    file << content << std::flush;
    EXPECT_TRUE(file.good());
  }

  /// Has a file that others make removed as well; gives its full name.
  std::wstring Expect(const std::wstring& name) {
    names_.push_back(name);
    return path_ + L'\\' + name;
  }

  /// Opens a file or folder so that nobody else can; an empty owner when somebody has.
  [[nodiscard]] Detail::KernelHandle LockAway(const std::wstring& name) const {
    const HANDLE handle = ::CreateFileW(Extended(name).c_str(), GENERIC_READ, 0, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    return Detail::KernelHandle(handle != INVALID_HANDLE_VALUE ? handle : nullptr);
  }

 private:
  std::wstring path_;
  std::vector<std::wstring> names_;  // folders before what is in them
};

/// The bytes of a file; a failure of the running test when it cannot be read.
[[nodiscard]] inline std::string ReadWholeFile(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  EXPECT_TRUE(file.is_open());
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace Orvel::Testing
