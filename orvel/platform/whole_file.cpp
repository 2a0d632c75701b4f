// SPDX-License-Identifier: MIT
#include "orvel/platform/whole_file.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "orvel/platform/system_paths.h"
#include "orvel/platform/unique_handle.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;
constexpr int kNameAttempts = 100;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// The file to replace, and what the new one keeps of it.
struct Target {
  std::wstring path;  // where the file itself is, not a link to it
  bool exists = false;
  DWORD attributes = 0;
  FILETIME created{};
  std::vector<std::byte> accessRights;  // a security descriptor; empty when the volume has none
};

std::vector<std::byte> AccessRights(HANDLE file) {
  std::vector<std::byte> descriptor;
  DWORD bytes = 0;
  while (::GetKernelObjectSecurity(file, DACL_SECURITY_INFORMATION, descriptor.data(), bytes,
                                   &bytes) == FALSE) {
    if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER) return {};
    descriptor.resize(bytes);
  }
  return descriptor;
}

/// Fills in `target`. Returns an error code when there is a file that must not be replaced.
DWORD FindTarget(const std::wstring& path, Target& target) {
  constexpr DWORD kLook = FILE_READ_ATTRIBUTES | READ_CONTROL;
  const auto open = [&path](DWORD access) {
    return MFileHandle(
        ::CreateFileW(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
  };
  MFileHandle file = open(kLook | FILE_WRITE_DATA);
  if (!file) {
    DWORD code = ::GetLastError();
    if (code == ERROR_FILE_NOT_FOUND) {
      // A link that leads nowhere is there all the same, and would be what is replaced.
      if (::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) return code;
      target.path = path;
      return NO_ERROR;
    }
    if (code != ERROR_SHARING_VIOLATION) return code;
    file = open(kLook);  // this never conflicts with another program's use
    code = ::GetLastError();
    if (!file) return code;
  }
  BY_HANDLE_FILE_INFORMATION information{};
  if (::GetFileInformationByHandle(file.Get(), &information) == FALSE) return ::GetLastError();
  if ((information.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0) return ERROR_ACCESS_DENIED;
  target.exists = true;
  target.path = FinalPath(file.Get());
  if (target.path.empty()) {
    if ((::GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
      return ERROR_CANT_RESOLVE_FILENAME;
    target.path = path;
  }
  target.attributes = information.dwFileAttributes;
  target.created = information.ftCreationTime;
  target.accessRights = AccessRights(file.Get());
  return NO_ERROR;
}

/// A new file, which nobody else can open, and which is deleted at the end unless it was put in
/// the place of another. Both go by the handle: it keeps the right to do so, whatever access rights
/// the file has.
class NewFile {
 public:
  /// Creates the file; GetCreationCode() returns the error code if that failed.
  NewFile(const std::wstring& path, const Target& target) noexcept : file_(Create(path, target)) {
    if (!file_) creationCode_ = ::GetLastError();
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() {
    if (isKept_ || !file_) return;
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = TRUE;
    ::SetFileInformationByHandle(file_.Get(), FileDispositionInfo, &disposition,
                                 sizeof disposition);
  }

  [[nodiscard]] DWORD GetCreationCode() const noexcept { return creationCode_; }

  /// Writes the bytes through to the disk. Returns an error code when that fails.
  DWORD Write(std::string_view bytes) noexcept {
    while (!bytes.empty()) {
      const auto wanted = static_cast<DWORD>((std::min)(bytes.size(), kChunk));
      DWORD written = 0;
      if (::WriteFile(file_.Get(), bytes.data(), wanted, &written, nullptr) == FALSE)
        return ::GetLastError();
      if (written == 0) return ERROR_WRITE_FAULT;
      bytes.remove_prefix(written);
    }
    return ::FlushFileBuffers(file_.Get()) != FALSE ? NO_ERROR : ::GetLastError();
  }

  /// Takes the place of `target`. Returns an error code when that fails. Raises `std::bad_alloc`.
  DWORD Replace(const Target& target) {
    constexpr int kAttempts = 10;
    constexpr DWORD kPauseMs = 100;
    if (target.exists) ::SetFileTime(file_.Get(), &target.created, nullptr, nullptr);
    const std::size_t nameBytes = target.path.size() * sizeof(wchar_t);
    std::vector<std::byte> buffer(sizeof(FILE_RENAME_INFO) + nameBytes);
    auto* const request = new (buffer.data()) FILE_RENAME_INFO{};
    request->ReplaceIfExists = TRUE;
    request->FileNameLength = static_cast<DWORD>(nameBytes);
    std::memcpy(buffer.data() + offsetof(FILE_RENAME_INFO, FileName), target.path.data(),
                nameBytes);
    DWORD code = NO_ERROR;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      if (attempt != 0) ::Sleep(kPauseMs);
      isKept_ = ::SetFileInformationByHandle(file_.Get(), FileRenameInfo, request,
                                             static_cast<DWORD>(buffer.size())) != FALSE;
      if (isKept_) return NO_ERROR;
      code = ::GetLastError();
      // Where a file is open elsewhere the system may deny access instead.
      if (code != ERROR_SHARING_VIOLATION && code != ERROR_LOCK_VIOLATION &&
          code != ERROR_ACCESS_DENIED)
        break;
    }
    return code;
  }

 private:
  static MFileHandle Create(const std::wstring& path, const Target& target) noexcept {
    constexpr DWORD kKept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                            FILE_ATTRIBUTE_NOT_CONTENT_INDEXED | FILE_ATTRIBUTE_ENCRYPTED;
    const DWORD attributes = target.attributes & kKept;
    // With the access rights from the start, so that nobody can read it who could not before.
    SECURITY_ATTRIBUTES security{};
    security.nLength = sizeof security;
    security.lpSecurityDescriptor = const_cast<std::byte*>(target.accessRights.data());
    return MFileHandle(::CreateFileW(
        path.c_str(), GENERIC_WRITE | DELETE, 0, target.accessRights.empty() ? nullptr : &security,
        CREATE_NEW,
        FILE_FLAG_WRITE_THROUGH | (attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL), nullptr));
  }

  MFileHandle file_;
  DWORD creationCode_ = NO_ERROR;
  bool isKept_ = false;
};

/// Returns a name in the folder of `path` that no other call in this process gets soon, and hardly
/// any in another. Short, so that it fits wherever a name does.
std::wstring MakeTemporaryPath(const std::wstring& path) {
  static std::atomic<std::uint32_t> counter{0};  // relaxed: the numbers only have to differ
  constexpr std::uint32_t kSpread = 0x9E3779B9;  // keeps neighbouring processes' numbers apart
  std::uint32_t number =
      ::GetCurrentProcessId() * kSpread + counter.fetch_add(1, std::memory_order_relaxed);
  const std::size_t separator = path.find_last_of(L"\\/:");
  std::wstring result = path.substr(0, separator == std::wstring::npos ? 0 : separator + 1);
  result += L'~';
  for (int digit = 0; digit < 8; ++digit, number <<= 4) {
    result += L"0123456789ABCDEF"[number >> 28];
  }
  result += L".tmp";
  return result;
}

}  // namespace

FileFailure ReadWholeFile(const std::wstring& path, std::size_t maxBytes, std::string& bytes) {
  const MFileHandle file(::CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr,
                                       OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (!file) return {FileStep::kOpen, ::GetLastError()};
  LARGE_INTEGER size{};
  if (::GetFileSizeEx(file.Get(), &size) == FALSE) return {FileStep::kRead, ::GetLastError()};
  if (static_cast<std::uint64_t>(size.QuadPart) > maxBytes) return {FileStep::kLength, NO_ERROR};

  std::string content(static_cast<std::size_t>(size.QuadPart), '\0');
  std::size_t count = 0;
  while (count < content.size()) {
    const auto wanted = static_cast<DWORD>((std::min)(content.size() - count, kChunk));
    DWORD got = 0;
    if (::ReadFile(file.Get(), content.data() + count, wanted, &got, nullptr) == FALSE)
      return {FileStep::kRead, ::GetLastError()};
    if (got == 0) return {FileStep::kRead, ERROR_HANDLE_EOF};  // cut short while it was read
    count += got;
  }
  bytes = std::move(content);
  return {};
}

FileFailure ReplaceWholeFile(const std::wstring& path, std::string_view bytes) {
  const std::wstring absolute = FullPath(path);
  Target target;
  if (const DWORD code = FindTarget(absolute, target); code != NO_ERROR)
    return {FileStep::kOpen, code};
  for (int attempt = 1;; ++attempt) {
    NewFile file(MakeTemporaryPath(target.path), target);
    if (const DWORD code = file.GetCreationCode(); code != NO_ERROR) {
      // Left by a process that crashed.
      if (code == ERROR_FILE_EXISTS && attempt < kNameAttempts) continue;
      return {FileStep::kCreate, code};
    }
    if (const DWORD code = file.Write(bytes); code != NO_ERROR) return {FileStep::kWrite, code};
    if (const DWORD code = file.Replace(target); code != NO_ERROR)
      return {FileStep::kReplace, code};
    return {};
  }
}

}  // namespace Orvel::Detail
