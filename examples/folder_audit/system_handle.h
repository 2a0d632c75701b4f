// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "folder_audit/windows_api.h"

namespace FolderAudit {

/// Owner of one handle. `Policy` says what an empty owner holds and how a handle is closed; closing
/// keeps the thread's last error code. Thread-compatible.
template <class Policy>
class SystemHandle {
 public:
  using Handle = typename Policy::Handle;

  SystemHandle() noexcept : handle_(Policy::Empty()) {}
  explicit SystemHandle(Handle handle) noexcept : handle_(handle) {}
  SystemHandle(SystemHandle&& other) noexcept
      : handle_(std::exchange(other.handle_, Policy::Empty())) {}
  SystemHandle& operator=(SystemHandle&& other) noexcept {
    SystemHandle incoming(std::move(other));  // keeps self-assignment harmless
    std::swap(handle_, incoming.handle_);
    return *this;
  }
  SystemHandle(const SystemHandle&) = delete;
  SystemHandle& operator=(const SystemHandle&) = delete;
  ~SystemHandle() {
    if (handle_ == Policy::Empty()) return;
    const DWORD lastError = ::GetLastError();
    Policy::Close(handle_);
    ::SetLastError(lastError);
  }

  [[nodiscard]] Handle Get() const noexcept { return handle_; }
  explicit operator bool() const noexcept { return handle_ != Policy::Empty(); }

 private:
  Handle handle_;
};

struct FilePolicy {
  using Handle = HANDLE;
  static Handle Empty() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) noexcept { ::CloseHandle(handle); }
};
using FileHandle = SystemHandle<FilePolicy>;

struct FindPolicy {
  using Handle = HANDLE;
  static Handle Empty() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) noexcept { ::FindClose(handle); }
};
using FindHandle = SystemHandle<FindPolicy>;

}  // namespace FolderAudit
