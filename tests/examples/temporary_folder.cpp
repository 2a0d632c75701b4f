// SPDX-License-Identifier: MIT
#include "temporary_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <thread>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"

#include <winioctl.h>

namespace Orvel::Testing {
namespace {

constexpr std::chrono::seconds kRemovalTimeout{20};

Detail::KernelHandle CreateNewFile(const std::wstring& path) {
  const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  const DWORD code = ::GetLastError();
  EXPECT_NE(file, INVALID_HANDLE_VALUE) << "error " << code;
  return Detail::KernelHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::array<wchar_t, MAX_PATH + 1> base{};
  EXPECT_NE(::GetTempPathW(static_cast<DWORD>(base.size()), base.data()), 0u);
  path_ = base.data() + (L"orvel-" + std::to_wstring(std::random_device()()));
  EXPECT_TRUE(::CreateDirectoryW(path_.c_str(), nullptr));
}

TemporaryFolder::~TemporaryFolder() {
  // The console of a program that was started here may have inherited a file, and holds it until it
  // has ended as well.
  const auto end = std::chrono::steady_clock::now() + kRemovalTimeout;
  while (!Remove()) {
    if (std::chrono::steady_clock::now() > end) {
      ADD_FAILURE() << "something is left of a temporary folder";
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

bool TemporaryFolder::Remove() const {
  for (auto name = names_.rbegin(); name != names_.rend(); ++name) {
    const std::wstring path = Extended(*name);
    if (!::DeleteFileW(path.c_str())) ::RemoveDirectoryW(path.c_str());
  }
  return ::RemoveDirectoryW(path_.c_str()) != FALSE;
}

std::wstring TemporaryFolder::Extended(const std::wstring& name) const {
  return LR"(\\?\)" + path_ + L'\\' + name;
}

void TemporaryFolder::MakeFolder(const std::wstring& name) {
  EXPECT_TRUE(::CreateDirectoryW(Extended(name).c_str(), nullptr));
  names_.push_back(name);
}

void TemporaryFolder::WriteFile(const std::wstring& name, std::string_view content) {
  const Detail::KernelHandle file = CreateNewFile(Extended(name));
  names_.push_back(name);
  DWORD written = 0;
  EXPECT_TRUE(::WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &written,
                          nullptr));
  EXPECT_EQ(written, content.size());
}

void TemporaryFolder::MakeSparseFile(const std::wstring& name, std::int64_t size) {
  const Detail::KernelHandle file = CreateNewFile(Extended(name));
  names_.push_back(name);
  // Where it is refused, files without content are sparse anyway.
  DWORD unused = 0;
  ::DeviceIoControl(file.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &unused, nullptr);
  LARGE_INTEGER end;
  end.QuadPart = size;
  EXPECT_TRUE(::SetFilePointerEx(file.Get(), end, nullptr, FILE_BEGIN));
  EXPECT_TRUE(::SetEndOfFile(file.Get()));
}

std::wstring TemporaryFolder::Expect(const std::wstring& name) {
  names_.push_back(name);
  return path_ + L'\\' + name;
}

std::string ReadWholeFile(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  EXPECT_TRUE(file.is_open());
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace Orvel::Testing
