// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <streambuf>
#include <string_view>

#include "orvel/platform/unique_handle.h"

namespace Orvel::Detail {

/// A new file that a crash report writes to, without using the heap. It is also the buffer of a
/// stream that writes to it.
///
/// Thread-compatible.
class CrashFile final : public std::streambuf {
 public:
  CrashFile() noexcept { setp(buffer_.data(), buffer_.data() + buffer_.size()); }

  /// Creates the file. Returns 0 or the system's error code, ERROR_FILE_EXISTS when there is one of
  /// that name.
  [[nodiscard]] std::uint32_t Open(const wchar_t* path) noexcept;
  /// Writes what is buffered to the disk and closes the file. Returns 0, or the error code of the
  /// first step that failed since the file was opened.
  std::uint32_t Close() noexcept;

  [[nodiscard]] bool IsOpen() const noexcept { return static_cast<bool>(handle_); }
  [[nodiscard]] void* GetHandle() const noexcept { return handle_.Get(); }

  /// Appends text. Wide characters become UTF-8, control characters become blanks.
  CrashFile& operator<<(std::string_view text) noexcept;
  CrashFile& operator<<(std::wstring_view text) noexcept;
  /// Appends a number in decimal, or in hexadecimal with `digits` digits.
  CrashFile& AddDecimal(std::uint64_t number) noexcept;
  CrashFile& AddHex(std::uint64_t number, int digits) noexcept;
  /// Ends the line and hands it to the system, as the next step of the report may crash.
  void EndLine() noexcept;

 protected:
  int_type overflow(int_type character) override;
  int sync() override;

 private:
  MFileHandle handle_;
  std::uint32_t error_ = 0;
  std::array<char, 0x4000> buffer_{};
};

}  // namespace Orvel::Detail
