// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Orvel::Detail {

/// Path of a file, ending in 0, in room of its own: a crash report takes no memory from the heap.
using CrashPath = std::array<wchar_t, 280>;

/// The names of the reports of one program in one folder. Immutable; any thread.
class CrashReportFolder {
 public:
  /// `folder` is a full path without the backslash at its end. Keeps the newest `reportsKept`
  /// reports, 0 for all.
  CrashReportFolder(std::wstring folder, std::wstring programName, std::size_t reportsKept);

  /// The longest that folder and program's name may be together, so that every path keeps to the
  /// system's limit.
  static constexpr std::size_t kMaxLength = 200;

  /// The path of a report's files without the ending, for a report of now: the program's name, the
  /// date and time of Greenwich, which sort as they follow one another, and the process.
  /// `attempt` counts from 1 and tells reports of one second apart.
  [[nodiscard]] CrashPath MakeStem(std::uint32_t attempt) const noexcept;
  /// A stem with an ending.
  [[nodiscard]] static CrashPath Join(const CrashPath& stem, const wchar_t* ending) noexcept;
  /// The part of a path behind the last backslash.
  [[nodiscard]] static const wchar_t* NameOf(const CrashPath& path) noexcept;

  /// Creates the folder when it is missing. 0, or the system's error code.
  [[nodiscard]] std::uint32_t Create() const noexcept;
  /// Removes the oldest reports, so that `kept` stay. What cannot be removed stays. The cost is the
  /// number of files times that of the reports to remove, without memory for their names.
  void RemoveOldest() const noexcept;

 private:
  [[nodiscard]] bool IsReport(const wchar_t* name) const noexcept;

  const std::wstring folder_;
  const std::wstring programName_;
  const std::size_t reportsKept_;
};

}  // namespace Orvel::Detail
