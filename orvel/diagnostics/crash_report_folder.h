// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Orvel::Detail {

/// Path of a file, ending in 0. An array, because a crash report does not use the heap.
using CrashPath = std::array<wchar_t, 280>;

/// The names of the reports of one program in one folder. Immutable; any thread.
class CrashReportFolder {
 public:
  /// `folder` is a full path without the backslash at its end. Keeps the newest `reportsKept`
  /// reports, 0 for all.
  CrashReportFolder(std::wstring folder, std::wstring programName, std::size_t reportsKept);

  /// The largest length of folder and program name together with which every path stays within the
  /// system's limit.
  static constexpr std::size_t kMaxLength = 200;

  /// Returns the path of the files of a report that is written now, without their extension. The
  /// name consists of the program's name, the date and time in UTC, in an order in which names sort
  /// by age, and the process. `attempt`, from 1 on, distinguishes reports of the same second.
  [[nodiscard]] CrashPath MakeStem(std::uint32_t attempt) const noexcept;
  /// Returns a stem with an extension appended.
  [[nodiscard]] static CrashPath Join(const CrashPath& stem, const wchar_t* ending) noexcept;
  /// Returns the part of a path after the last backslash.
  [[nodiscard]] static const wchar_t* NameOf(const CrashPath& path) noexcept;

  /// Creates the folder when it is missing. Returns 0 or the system's error code.
  [[nodiscard]] std::uint32_t Create() const noexcept;
  /// Removes the oldest reports beyond the number that is kept. Skips what cannot be removed. Keeps
  /// no names in memory: the cost is the number of files times the number of reports to remove.
  void RemoveOldest() const noexcept;

 private:
  [[nodiscard]] bool IsReport(const wchar_t* name) const noexcept;

  const std::wstring folder_;
  const std::wstring programName_;
  const std::size_t reportsKept_;
};

}  // namespace Orvel::Detail
