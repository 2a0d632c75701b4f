// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/threads/non_copyable.h"

namespace Orvel::Testing {

/// A new folder among the system's temporary ones, removed with all that was made or registered
/// through this object. Names are relative to it and may be longer than the usual limit. What the
/// system refuses fails the test that is running.
class TemporaryFolder : public Libraries::NonCopyable {
 public:
  TemporaryFolder();
  ~TemporaryFolder();

  /// The folder as a user would type it.
  [[nodiscard]] const std::wstring& GetPath() const noexcept { return path_; }
  /// The full name of an entry, usable at any length.
  [[nodiscard]] std::wstring Extended(const std::wstring& name) const;

  void MakeFolder(const std::wstring& name);
  void WriteFile(const std::wstring& name, std::string_view content);
  /// Makes a file of that size that takes no room on the disk.
  void MakeSparseFile(const std::wstring& name, std::int64_t size);
  /// Has a file that others make removed as well; gives its full name.
  std::wstring Expect(const std::wstring& name);

 private:
  /// False when something is left.
  [[nodiscard]] bool Remove() const;

  std::wstring path_;
  std::vector<std::wstring> names_;  // folders before what is in them
};

/// The bytes of a file; a failure of the running test when it cannot be read.
[[nodiscard]] std::string ReadWholeFile(const std::wstring& path);

}  // namespace Orvel::Testing
