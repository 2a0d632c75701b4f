// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <utility>

namespace Orvel::Detail {

/// Owner of one kernel object's handle (an event, a thread) whose invalid value is null. Not for
/// files, whose invalid value differs.
///
/// Thread-compatible. Closing keeps the calling thread's last error code, so that a handle may go
/// out of scope between a failed call and the look at its code.
class KernelHandle {
 public:
  KernelHandle() noexcept = default;
  /// Takes ownership of `handle`; null makes an empty owner.
  explicit KernelHandle(void* handle) noexcept : handle_(handle) {}
  KernelHandle(KernelHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  KernelHandle& operator=(KernelHandle&& other) noexcept {
    KernelHandle incoming(std::move(other));  // keeps self-assignment harmless
    std::swap(handle_, incoming.handle_);
    return *this;
  }
  KernelHandle(const KernelHandle&) = delete;
  KernelHandle& operator=(const KernelHandle&) = delete;
  ~KernelHandle() { Close(); }

  /// The handle, still owned here; null when empty.
  [[nodiscard]] void* Get() const noexcept { return handle_; }
  /// True when a handle is owned.
  explicit operator bool() const noexcept { return handle_ != nullptr; }
  /// Closes the handle now, if there is one, and becomes empty.
  void Close() noexcept;

 private:
  void* handle_ = nullptr;
};

/// How an event falls back to unsignalled.
enum class EventReset {
  kAutomatic,  ///< by the wait that it releases
  kManual      ///< only by an explicit reset
};

/// Creates an unnamed, unsignalled event. An empty owner when the system refuses; the calling
/// thread's last error code then says why.
[[nodiscard]] KernelHandle CreateKernelEvent(EventReset reset) noexcept;

/// Signals or clears an event. False when the system refuses; the last error code says why.
[[nodiscard]] bool SetKernelEvent(void* event) noexcept;
[[nodiscard]] bool ResetKernelEvent(void* event) noexcept;

/// Identifier of the calling thread, never 0.
[[nodiscard]] std::uint32_t CurrentThreadId() noexcept;
/// The calling thread's last error code. To be asked in the statement right after the call that
/// failed: whatever runs in between may change it.
[[nodiscard]] std::uint32_t LastErrorCode() noexcept;
/// Gives the rest of the calling thread's time slice to another thread that is ready.
void YieldThread() noexcept;

}  // namespace Orvel::Detail
