// SPDX-License-Identifier: MIT
#include "orvel/filers/text_file.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>

#include "orvel/filers/utf8.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;
constexpr int kNameAttempts = 100;

/// Owner of an open file; closes it at the end.
class File {
 public:
  explicit File(HANDLE handle) noexcept : handle_(handle) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { Close(); }

  [[nodiscard]] bool IsOpen() const noexcept { return handle_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] HANDLE Get() const noexcept { return handle_; }
  bool Close() noexcept {
    const HANDLE handle = std::exchange(handle_, INVALID_HANDLE_VALUE);
    return handle == INVALID_HANDLE_VALUE || ::CloseHandle(handle) != FALSE;
  }

 private:
  HANDLE handle_;
};

/// A file that is deleted at the end unless it was kept.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::wstring path) : path_(std::move(path)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!kept_) ::DeleteFileW(path_.c_str());
  }
  /// Puts the file in the place of another one. It must be closed.
  bool Replace(const std::wstring& path) noexcept {
    kept_ = ::MoveFileExW(path_.c_str(), path.c_str(),
                          MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
    return kept_;
  }

 private:
  std::wstring path_;
  bool kept_ = false;
};

void AppendHex(std::uint32_t number, std::wstring& output) {
  for (int shift = 28; shift >= 0; shift -= 4)
    output += L"0123456789abcdef"[(number >> shift) & 15];
}

/// A name beside `path` that no other call in this process gets and hardly one elsewhere.
std::wstring MakeTemporaryPath(const std::wstring& path) {
  static std::atomic<std::uint32_t> counter{0};
  std::wstring result = path;
  result += L'.';
  AppendHex(::GetCurrentProcessId(), result);
  AppendHex(counter.fetch_add(1, std::memory_order_relaxed), result);  // only has to differ
  result += L".tmp";
  return result;
}

bool WriteBytes(HANDLE file, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const auto wanted = static_cast<DWORD>((std::min)(bytes.size(), kChunk));
    DWORD written = 0;
    if (::WriteFile(file, bytes.data(), wanted, &written, nullptr) == FALSE || written == 0)
      return false;
    bytes.remove_prefix(written);
  }
  return true;
}

}  // namespace

TextFileResult ReadTextFile(const std::wstring& path, std::size_t maxBytes, std::wstring& text,
                            std::size_t& badByte) {
  const File file(::CreateFileW(path.c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (!file.IsOpen()) return TextFileResult::kUnreadable;
  LARGE_INTEGER size{};
  if (::GetFileSizeEx(file.Get(), &size) == FALSE) return TextFileResult::kUnreadable;
  if (static_cast<std::uint64_t>(size.QuadPart) > maxBytes) return TextFileResult::kTooLong;

  std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
  std::size_t count = 0;
  while (count < bytes.size()) {
    const auto wanted = static_cast<DWORD>((std::min)(bytes.size() - count, kChunk));
    DWORD got = 0;
    if (::ReadFile(file.Get(), bytes.data() + count, wanted, &got, nullptr) == FALSE)
      return TextFileResult::kUnreadable;
    if (got == 0) return TextFileResult::kUnreadable;  // cut short while it was read
    count += got;
  }
  const std::string_view content = SkipUtf8ByteOrderMark(bytes);
  if (const auto offset = DecodeUtf8(content, text)) {
    badByte = bytes.size() - content.size() + *offset;
    return TextFileResult::kMalformed;
  }
  return TextFileResult::kRead;
}

bool WriteTextFile(const std::wstring& path, std::wstring_view text) {
  std::string bytes;
  if (EncodeUtf8(text, bytes).has_value()) return false;
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    const std::wstring temporaryPath = MakeTemporaryPath(path);
    File file(::CreateFileW(temporaryPath.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen()) {
      if (::GetLastError() == ERROR_FILE_EXISTS) continue;  // left by a process that crashed
      return false;
    }
    TemporaryFile temporary(temporaryPath);
    const bool written = WriteBytes(file.Get(), bytes) && ::FlushFileBuffers(file.Get()) != FALSE;
    return file.Close() && written && temporary.Replace(path);
  }
  return false;
}

}  // namespace Orvel::Detail
