// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace FolderAudit {

/// One of the process's two outputs, for text of every script: a console gets it through its own
/// interface, a file or pipe as UTF-8. Nothing is buffered.
///
/// Thread-compatible. Long-lived, so that the flow log knows it by name.
class TextOutput {
 public:
  enum class Stream { kOutput, kError };

  explicit TextOutput(Stream stream);
  TextOutput(const TextOutput&) = delete;
  TextOutput& operator=(const TextOutput&) = delete;

  [[nodiscard]] bool IsConsole() const noexcept { return isConsole_; }
  /// Returns the number of columns of the console; 80 when that is not known.
  [[nodiscard]] std::size_t GetWidth() const noexcept;

  /// Writes all of `text`. Raises "CannotWrite" ("winErrorCode"). A process without that output
  /// writes nowhere.
  void Write(std::wstring_view text);
  /// The same for text that may be lost; raises nothing.
  void WriteIfPossible(std::wstring_view text) noexcept;

 private:
  [[nodiscard]] std::uint32_t WriteText(std::wstring_view text) const;

  void* const handle_;  // the process's own, not closed here
  const bool isConsole_;
};

}  // namespace FolderAudit
