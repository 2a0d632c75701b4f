// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <streambuf>
#include <string_view>

#include "orvel/platform/unique_handle.h"

namespace Orvel::Detail {

/// A new file that a crash report writes to, without memory from the heap. Also the buffer of a
/// stream that writes to it.
///
/// Thread-compatible.
class CrashFile final : public std::streambuf {
 public:
  CrashFile() noexcept { setp(buffer_.data(), buffer_.data() + buffer_.size()); }

  /// Creates the file; 0, or the system's error code, which is ERROR_FILE_EXISTS when it is there
  /// already.
  [[nodiscard]] std::uint32_t Open(const wchar_t* path) noexcept;
  /// Puts what was written onto the disk and closes the file. 0, or the error code of the first
  /// step that failed since it was opened.
  std::uint32_t Close() noexcept;

  [[nodiscard]] bool IsOpen() const noexcept { return static_cast<bool>(handle_); }
  [[nodiscard]] void* GetHandle() const noexcept { return handle_.Get(); }

  /// Adds to the text. Wide characters become UTF-8, control characters blanks.
  CrashFile& operator<<(std::string_view text) noexcept;
  CrashFile& operator<<(std::wstring_view text) noexcept;
  /// Adds a number in decimal, or in hexadecimal with `digits` digits.
  CrashFile& AddDecimal(std::uint64_t number) noexcept;
  CrashFile& AddHex(std::uint64_t number, int digits) noexcept;
  /// Ends the line and hands it to the system: what comes next may fail.
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
