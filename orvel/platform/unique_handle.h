// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <utility>

namespace Orvel::Detail {

/// Puts the calling thread's last error code back at the end of a scope.
class LastErrorKeeper {
 public:
  LastErrorKeeper() noexcept;
  ~LastErrorKeeper();
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

 private:
  const std::uint32_t code_;
};

struct KernelHandlePolicy {
  using Handle = void*;
  static Handle Empty() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept;
};

struct FileHandlePolicy {
  using Handle = void*;
  static Handle Empty() noexcept { return reinterpret_cast<Handle>(std::intptr_t{-1}); }
  static void Close(Handle handle) noexcept { KernelHandlePolicy::Close(handle); }
};

struct FindHandlePolicy {
  using Handle = void*;
  static Handle Empty() noexcept { return FileHandlePolicy::Empty(); }
  static void Close(Handle handle) noexcept;
};

struct RegistryKeyPolicy {
  using Handle = void*;
  static Handle Empty() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept;
};

}  // namespace Orvel::Detail

/// Owner of one handle of the system, which the destructor closes. `Policy` is a struct with the
/// type `Handle` and two static operations that raise nothing: `Empty()`, which returns the value
/// that stands for no handle, and `Close(handle)`.
///
///     const MFileHandle file(::CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr,
///                                          OPEN_EXISTING, 0, nullptr));
///     if (!file) { ... }
///
/// Thread-compatible. Closing keeps the calling thread's last error code, so that a handle may go
/// out of scope between a failed call and reading its error code. A close that fails is ignored.
template <class Policy>
class MUniqueHandle {
 public:
  /// The type of what is owned, `void*` for all of the system's.
  using Handle = typename Policy::Handle;

  /// An empty owner.
  MUniqueHandle() noexcept = default;
  /// Takes ownership of `handle`; the policy's empty value makes an empty owner.
  explicit MUniqueHandle(Handle handle) noexcept : handle_(handle) {}
  /// Takes over what `other` owns, which is empty then.
  MUniqueHandle(MUniqueHandle&& other) noexcept : handle_(other.Release()) {}
  /// The same, and closes what was owned here before.
  MUniqueHandle& operator=(MUniqueHandle&& other) noexcept {
    MUniqueHandle incoming(std::move(other));  // keeps self-assignment harmless
    std::swap(handle_, incoming.handle_);
    return *this;
  }
  MUniqueHandle(const MUniqueHandle&) = delete;
  MUniqueHandle& operator=(const MUniqueHandle&) = delete;
  ~MUniqueHandle() { Close(); }

  /// Returns the handle, still owned here; the policy's empty value when there is none.
  [[nodiscard]] Handle Get() const noexcept { return handle_; }
  /// Returns true when a handle is owned.
  explicit operator bool() const noexcept { return handle_ != Policy::Empty(); }
  /// Hands the handle over to the caller, who must close it, and becomes empty.
  [[nodiscard]] Handle Release() noexcept { return std::exchange(handle_, Policy::Empty()); }
  /// Closes what is owned and takes ownership of `handle`, which must not be owned here already.
  void Reset(Handle handle) noexcept { *this = MUniqueHandle(handle); }
  /// Closes the handle now, if there is one, and becomes empty.
  void Close() noexcept {
    if (handle_ == Policy::Empty()) return;
    const Orvel::Detail::LastErrorKeeper keeper;
    Policy::Close(Release());
  }

 private:
  Handle handle_ = Policy::Empty();
};

/// Owner of an event, a thread, a timer or any other kernel object whose calls return null when
/// they fail: `CloseHandle`.
using MKernelHandle = MUniqueHandle<Orvel::Detail::KernelHandlePolicy>;
/// Owner of what `CreateFileW` opens: empty is `INVALID_HANDLE_VALUE`; `CloseHandle`.
using MFileHandle = MUniqueHandle<Orvel::Detail::FileHandlePolicy>;
/// Owner of a search of `FindFirstFileW`: empty is `INVALID_HANDLE_VALUE`; `FindClose`.
using MFindHandle = MUniqueHandle<Orvel::Detail::FindHandlePolicy>;
/// Owner of an open registry key: empty is null; `RegCloseKey`. Not for the predefined keys.
using MRegistryKeyHandle = MUniqueHandle<Orvel::Detail::RegistryKeyPolicy>;
